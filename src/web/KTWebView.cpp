#include "web/KTWebView.h"

#include "core/config/KTFileUtil.h"
#include "core/config/KTJson.h"
#include "core/config/KTLog.h"
#include "core/config/KTNotificationCenter.h"
#include "core/config/KTNotificationNames.h"
#include "web/KTWebManager.h"

#include <cstdio>

namespace quilt {

namespace {
// The last path component of an address, without its query.
std::string fileNameOf(const std::string& url)
{
    std::string path = url.substr(0, url.find_first_of("?#"));
    std::string name = KTFileUtil::lastComponent(path);
    if (char* unescaped = g_uri_unescape_string(name.c_str(), nullptr)) {
        name = unescaped;
        g_free(unescaped);
    }
    return name.empty() ? "download" : name;
}

// A JavaScript string literal holding `text`: any text the user searches
// for, quotes and backslashes included, reaches the page as it was typed.
std::string quoted(const std::string& text)
{
    std::string out = "'";
    for (unsigned char c : text) {
        if (c == '\\' || c == '\'') {
            out += '\\';
            out += char(c);
        } else if (c < 0x20 || c == 0x7f) {
            char buf[8];
            std::snprintf(buf, sizeof buf, "\\x%02x", c);
            out += buf;
        } else {
            out += char(c);
        }
    }
    return out + "'";
}
} // namespace

KTWebView::KTWebView(WebKitWebView* view)
    : view_(view)
{
    addAction("open-link-in-new-tab", &KTWebView::openLinkInNewtab);
    addAction("download-image", &KTWebView::downloadImage);
    addAction("download-linked-file", &KTWebView::download);
    signals_.emplace_back(view_, "context-menu",
                          G_CALLBACK(+[](WebKitWebView*, WebKitContextMenu* menu, GdkEvent*, WebKitHitTestResult* hit,
                                         KTWebView* self) -> gboolean {
                              self->willOpenMenu(menu, hit);
                              return FALSE;
                          }),
                          this);
}

KTWebView::~KTWebView() { *alive_ = false; }

GSimpleAction* KTWebView::addAction(const char* name, void (KTWebView::*run)(const std::string&))
{
    auto action = GRef<GSimpleAction>::adopt(g_simple_action_new(name, G_VARIANT_TYPE_STRING));
    auto* member = new decltype(run)(run);
    g_object_set_data_full(G_OBJECT(action.get()), "run", member,
                           [](gpointer p) { delete static_cast<decltype(run)*>(p); });
    signals_.emplace_back(action.get(), "activate",
                          G_CALLBACK(+[](GSimpleAction* a, GVariant* value, KTWebView* self) {
                              auto* m = static_cast<void (KTWebView::**)(const std::string&)>(
                                  g_object_get_data(G_OBJECT(a), "run"));
                              (self->**m)(g_variant_get_string(value, nullptr));
                          }),
                          this);
    actions_.push_back(std::move(action));
    return actions_.back().get();
}

void KTWebView::willOpenMenu(WebKitContextMenu* menu, WebKitHitTestResult* hit)
{
    const char* link = webkit_hit_test_result_get_link_uri(hit);
    const char* image = webkit_hit_test_result_get_image_uri(hit);
    // The engine's items are replaced in place by the app's own, which take
    // their address from the element under the pointer.
    struct Change {
        WebKitContextMenuAction stock;
        const char* title;
        size_t action;
        const char* address;
    };
    const Change changes[] = {
        {WEBKIT_CONTEXT_MENU_ACTION_OPEN_LINK, "Open Link in New Tab", 0, link},
        {WEBKIT_CONTEXT_MENU_ACTION_DOWNLOAD_IMAGE_TO_DISK, "Download Image", 1, image},
        {WEBKIT_CONTEXT_MENU_ACTION_DOWNLOAD_LINK_TO_DISK, "Download Linked File", 2, link},
    };
    guint position = 0;
    for (GList* l = webkit_context_menu_get_items(menu); l; ++position) {
        auto* item = WEBKIT_CONTEXT_MENU_ITEM(l->data);
        l = l->next;
        WebKitContextMenuAction stock = webkit_context_menu_item_get_stock_action(item);
        for (const Change& c : changes) {
            if (stock != c.stock || !c.address)
                continue;
            WebKitContextMenuItem* mine = webkit_context_menu_item_new_from_gaction(
                G_ACTION(actions_[c.action].get()), c.title, g_variant_new_string(c.address));
            webkit_context_menu_remove(menu, item);
            webkit_context_menu_insert(menu, mine, int(position));
            break;
        }
    }
}

void KTWebView::openLinkInNewtab(const std::string& url)
{
    if (!url.empty())
        KTNotificationCenter::defaultCenter().post(names::kOpenLinkInNewTab, {}, KTJson{{"url", url}});
}

void KTWebView::downloadImage(const std::string& url)
{
    KTLog::debug("string: " + fileNameOf(url));
    KTLog::debug("nsurl: " + url);
    KTWebManager::sharedManager().downloadFileFromUrl(fileNameOf(url), url, view_);
}

void KTWebView::download(const std::string& url)
{
    // The save panel asks where; the page's own session fetches it.
    KTWebManager::sharedManager().downloadFileFromUrl(fileNameOf(url), url, view_);
}

void KTWebView::evaluate(const std::string& script, std::function<void(JSCValue*)> done)
{
    struct Call {
        std::function<void(JSCValue*)> done;
        std::shared_ptr<bool> alive;
    };
    webkit_web_view_evaluate_javascript(
        view_, script.c_str(), -1, nullptr, nullptr, nullptr,
        [](GObject* source, GAsyncResult* result, gpointer data) {
            std::unique_ptr<Call> call(static_cast<Call*>(data));
            GError* error = nullptr;
            JSCValue* value = webkit_web_view_evaluate_javascript_finish(WEBKIT_WEB_VIEW(source), result, &error);
            if (error) {
                KTLog::debug(std::string("error: ") + error->message);
                g_error_free(error);
            }
            if (*call->alive && call->done)
                call->done(value);
            if (value)
                g_object_unref(value);
        },
        new Call {std::move(done), alive_});
}

void KTWebView::highlightAllOccurencesOfString(const std::string& text, std::function<void(long)> done)
{
    evaluate("wkWebview_HighlightAllOccurencesOfString(" + quoted(text) + ")");
    // Evaluated in order: the count is that of the highlights just made.
    evaluate("wkWebview_SearchResultCount()", [done = std::move(done)](JSCValue* value) {
        long n = value && jsc_value_is_number(value) ? long(jsc_value_to_double(value)) : 0;
        done(n);
    });
}

void KTWebView::scrollTo(long index) { evaluate("wkWebview_ScrollTo('" + std::to_string(index) + "')"); }

void KTWebView::removeAllHighlights() { evaluate("wkWebview_RemoveAllHighlights()"); }

} // namespace quilt
