#include "web/KTAppLauncher.h"

#include "core/config/KTBehaviorManager.h"
#include "core/config/KTBundle.h"
#include "core/config/KTLog.h"
#include "core/config/KTUpdateManager.h"
#include "core/web/KTLinkRouter.h"
#include "core/web/KTNavigationPolicy.h"
#include "web/KTWebUIDelegate.h"

#include <gio/gdesktopappinfo.h>

#include <memory>

namespace quilt {

namespace {

// The window to bring back after a background launch; weak, as the window
// may close before the launch completes.
struct Relaunch {
    GWeakRef window;
    bool background;
    std::string url;
};

void launched(GObject*, GAsyncResult* result, gpointer data, gboolean (*finish)(GAsyncResult*, GError**))
{
    std::unique_ptr<Relaunch> r(static_cast<Relaunch*>(data));
    GError* error = nullptr;
    if (!finish(result, &error)) {
        KTLog::line("error: cannot open " + r->url + ": " + (error ? error->message : "no application"));
        g_clear_error(&error);
    }
    if (r->background)
        if (auto* w = static_cast<GtkWindow*>(g_weak_ref_get(&r->window))) {
            gtk_window_present(w);
            g_object_unref(w);
        }
    g_weak_ref_clear(&r->window);
}

GAppLaunchContext* launchContext(bool background);

void onLaunchedUris(GObject* source, GAsyncResult* result, gpointer data)
{
    std::unique_ptr<std::string> url(static_cast<std::string*>(data));
    GError* error = nullptr;
    if (!g_app_info_launch_uris_finish(G_APP_INFO(source), result, &error)) {
        KTLog::line("error: cannot open " + *url + ": " + (error ? error->message : "no application"));
        g_clear_error(&error);
    }
}

void launchWith(GAppInfo* app, const std::string& url)
{
    GList* uris = g_list_append(nullptr, const_cast<char*>(url.c_str()));
    GAppLaunchContext* ctx = launchContext(false);
    g_app_info_launch_uris_async(app, uris, ctx, nullptr, onLaunchedUris, new std::string(url));
    g_object_unref(ctx);
    g_list_free(uris);
}

GAppLaunchContext* launchContext(bool background)
{
    // A plain context carries no startup notification, so the launched
    // application does not take the focus from this one.
    if (background)
        return g_app_launch_context_new();
    GdkAppLaunchContext* ctx = gdk_display_get_app_launch_context(gdk_display_get_default());
    gdk_app_launch_context_set_timestamp(ctx, gtk_get_current_event_time());
    return G_APP_LAUNCH_CONTEXT(ctx);
}

} // namespace

void KTAppLauncher::openInDefaultBrowser(const std::string& url, bool background, GtkWindow* window)
{
    auto* r = new Relaunch{{}, background, url};
    g_weak_ref_init(&r->window, window);
    GAppLaunchContext* ctx = launchContext(background);
    g_app_info_launch_default_for_uri_async(url.c_str(), ctx, nullptr,
                                            [](GObject* source, GAsyncResult* result, gpointer data) {
                                                launched(source, result, data, [](GAsyncResult* res, GError** e) {
                                                    return g_app_info_launch_default_for_uri_finish(res, e);
                                                });
                                            },
                                            r);
    g_object_unref(ctx);
}

namespace {

// One router for the running app, made afresh when the app's bundle or the
// registry's place changes (tests switch both).
KTLinkRouter& linkRouter()
{
    static std::unique_ptr<KTLinkRouter> router;
    static std::string made;
    const std::string registry = KTUpdateManager::sharedManager().getPath();
    const std::string self = KTBundle::main().path();
    if (!router || made != registry + "\n" + self) {
        router = std::make_unique<KTLinkRouter>(registry, self);
        made = registry + "\n" + self;
    }
    return *router;
}

} // namespace

void KTAppLauncher::openRefusedAddress(const std::string& url, bool background, GtkWindow* window)
{
    if (KTBehaviorManager::sharedManager().routeLinksToSiteApps())
        if (auto app = linkRouter().appFor(url); app && openInSiteApp(*app, url)) {
            KTLog::debug("routed " + url + " to " + *app);
            return;
        }
    openInDefaultBrowser(url, background, window);
}

bool KTAppLauncher::openInSiteApp(const std::string& bundlePath, const std::string& url)
{
    const std::string exe = KTBundle(bundlePath).executablePath();
    const char* argv[] = {exe.c_str(), url.c_str(), nullptr};
    GError* error = nullptr;
    GSubprocess* process = g_subprocess_newv(argv, G_SUBPROCESS_FLAGS_NONE, &error);
    if (!process) {
        KTLog::line("cannot open " + url + " in " + bundlePath + ": " + (error ? error->message : "?"));
        g_clear_error(&error);
        return false;
    }
    // Reaped when it ends; it holds its own reference until then.
    g_subprocess_wait_async(process, nullptr,
                            [](GObject* source, GAsyncResult* result, gpointer) {
                                g_subprocess_wait_finish(G_SUBPROCESS(source), result, nullptr);
                                g_object_unref(source);
                            },
                            nullptr);
    return true;
}

GRef<GAppInfo> KTAppLauncher::appForUrl(const std::string& url)
{
    char* scheme = g_uri_parse_scheme(url.c_str());
    if (!scheme)
        return {};
    GRef<GAppInfo> app = GRef<GAppInfo>::adopt(g_app_info_get_default_for_uri_scheme(scheme));
    g_free(scheme);
    return app;
}

std::string KTAppLauncher::displayName(GAppInfo* app)
{
    const char* name = g_app_info_get_display_name(app);
    const char* file = G_IS_DESKTOP_APP_INFO(app) ? g_desktop_app_info_get_filename(G_DESKTOP_APP_INFO(app)) : nullptr;
    if (!file)
        file = g_app_info_get_executable(app);
    return KTNavigationPolicy::otherAppDisplayName(name ? name : "", file ? file : "");
}

void KTAppLauncher::askToOpen(const std::string& url, GAppInfo* app, GtkWindow* parent)
{
    // One question at a time: a page spamming mailto: links gets no pile of
    // dialogs, only the one already asked.
    static bool asking = false;
    if (asking) {
        KTLog::debug("open " + url + " refused: a question is already shown");
        return;
    }
    asking = true;
    // Cleared when the answer comes, or when the question goes unanswered
    // with its window (the callback is then dropped).
    std::shared_ptr<void> asked(nullptr, [](void*) { asking = false; });
    GRef<GAppInfo> keep = GRef<GAppInfo>::retain(app);
    KTWebUIDelegate::shared().askToOpenApp(parent, displayName(app), [keep, url, asked](bool open) {
        asking = false;
        if (open)
            launchWith(keep.get(), url);
    });
}

} // namespace quilt
