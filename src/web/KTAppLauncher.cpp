#include "web/KTAppLauncher.h"

#include "core/config/KTLog.h"
#include "core/web/KTNavigationPolicy.h"

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

struct Ask {
    GRef<GAppInfo> app;
    std::string url;
};

void onLaunchedUris(GObject* source, GAsyncResult* result, gpointer data)
{
    std::unique_ptr<std::string> url(static_cast<std::string*>(data));
    GError* error = nullptr;
    if (!g_app_info_launch_uris_finish(G_APP_INFO(source), result, &error)) {
        KTLog::line("error: cannot open " + *url + ": " + (error ? error->message : "no application"));
        g_clear_error(&error);
    }
}

void onAskResponse(GtkDialog* dialog, int response, Ask* ask)
{
    if (response == GTK_RESPONSE_ACCEPT) {
        GList* uris = g_list_append(nullptr, const_cast<char*>(ask->url.c_str()));
        GAppLaunchContext* ctx = launchContext(false);
        g_app_info_launch_uris_async(ask->app.get(), uris, ctx, nullptr, onLaunchedUris, new std::string(ask->url));
        g_object_unref(ctx);
        g_list_free(uris);
    }
    gtk_widget_destroy(GTK_WIDGET(dialog));
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

GtkWidget* KTAppLauncher::askToOpen(const std::string& url, GAppInfo* app, GtkWindow* parent)
{
    std::string name = displayName(app);
    GtkWidget* alert = gtk_message_dialog_new(parent, GtkDialogFlags(GTK_DIALOG_MODAL | GTK_DIALOG_DESTROY_WITH_PARENT),
                                              GTK_MESSAGE_QUESTION, GTK_BUTTONS_NONE, "Open %s?", name.c_str());
    gtk_message_dialog_format_secondary_text(GTK_MESSAGE_DIALOG(alert), "A website wants to open this application.");
    gtk_dialog_add_buttons(GTK_DIALOG(alert), "Open", GTK_RESPONSE_ACCEPT, "Cancel", GTK_RESPONSE_CANCEL, nullptr);
    gtk_dialog_set_default_response(GTK_DIALOG(alert), GTK_RESPONSE_ACCEPT);
    g_signal_connect_data(alert, "response", G_CALLBACK(onAskResponse), new Ask{GRef<GAppInfo>::retain(app), url},
                          +[](gpointer data, GClosure*) { delete static_cast<Ask*>(data); }, GConnectFlags(0));
    gtk_widget_show(alert);
    return alert;
}

} // namespace quilt
