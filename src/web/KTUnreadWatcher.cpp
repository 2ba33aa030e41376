#include "web/KTUnreadWatcher.h"

#include "core/config/KTJson.h"
#include "core/config/KTLog.h"
#include "core/web/KTScriptManager.h"
#include "web/KTNotificationHandler.h"
#include "web/KTWebViewController.h"

#include <webkit2/webkit2.h>

#include <cmath>
#include <memory>

namespace quilt {

namespace {

struct Pass {
    KTUnreadWatcher::PageProvider* selectedPage;
    GRef<WebKitWebView> view;
};

// A script's value as the watcher reads it: a string or an array;
// undefined and null are no result.
std::optional<KTJson> jsonOf(JSCValue* value)
{
    if (!value || jsc_value_is_undefined(value) || jsc_value_is_null(value))
        return std::nullopt;
    char* text = jsc_value_to_json(value, 0);
    std::optional<KTJson> json = text ? json::parse(text) : std::nullopt;
    g_free(text);
    return json;
}

} // namespace

KTUnreadWatcher::KTUnreadWatcher(PageProvider selectedPage)
    : selectedPage_(std::move(selectedPage))
    , cancellable_(GRef<GCancellable>::adopt(g_cancellable_new()))
{
}

KTUnreadWatcher::~KTUnreadWatcher() { g_cancellable_cancel(cancellable_.get()); }

void KTUnreadWatcher::setup()
{
    const guint ms = static_cast<guint>(std::lround(KTScriptManager::kInterval * 1000));
    injectTimer_ = KTSource(g_timeout_add(ms, +[](gpointer self) -> gboolean {
        static_cast<KTUnreadWatcher*>(self)->injectScripts();
        return G_SOURCE_CONTINUE;
    }, this));
}

void KTUnreadWatcher::injectScripts()
{
    KTWebViewController* page = selectedPage_ ? selectedPage_() : nullptr;
    if (!page)
        return;
    WebKitWebView* view = page->webview();
    auto host = KTNotificationHandler::hostOf(webkit_web_view_get_uri(view));
    auto script = host ? KTScriptManager::scriptForHost(*host) : std::nullopt;
    if (!script)
        return;
    auto* pass = new Pass{&selectedPage_, GRef<WebKitWebView>::retain(view)};
    webkit_web_view_evaluate_javascript(view, script->c_str(), -1, nullptr, nullptr, cancellable_.get(), onResult,
                                        pass);
}

void KTUnreadWatcher::onResult(GObject* object, GAsyncResult* result, gpointer data)
{
    std::unique_ptr<Pass> pass(static_cast<Pass*>(data));
    GError* error = nullptr;
    JSCValue* value = webkit_web_view_evaluate_javascript_finish(WEBKIT_WEB_VIEW(object), result, &error);
    if (g_error_matches(error, G_IO_ERROR, G_IO_ERROR_CANCELLED)) {
        g_error_free(error);
        return; // the watcher is gone
    }
    std::optional<KTJson> json;
    if (error) {
        KTLog::line(std::string("error:") + error->message);
        g_error_free(error);
    } else {
        json = jsonOf(value);
    }
    if (value)
        g_object_unref(value);
    // The result belongs to the page it was read from: if another page was
    // selected meanwhile, the next pass reads that one.
    KTWebViewController* page = (*pass->selectedPage) ? (*pass->selectedPage)() : nullptr;
    if (!page || page->webview() != pass->view.get())
        return;
    auto host = KTNotificationHandler::hostOf(webkit_web_view_get_uri(page->webview()));
    KTScriptManager::shared().runDockBadgeResult(json, {host.value_or(std::string()), page->dockLabel});
}

} // namespace quilt
