#pragma once

#include "core/config/GRef.h"

#include <gio/gio.h>
#include <gtk/gtk.h>

#include <string>

namespace quilt {

// Hands addresses to other applications of the desktop through GIO: web
// addresses that leave the site to the default browser, other schemes
// (mail, chat, ...) to the application that claims them after asking.
class KTAppLauncher {
public:
    // Opens url with the desktop's default application for it. In the
    // background the launch asks for no focus and `window` is presented
    // again once the launch completes, so the user stays in the app.
    static void openInDefaultBrowser(const std::string& url, bool background, GtkWindow* window);
    // An address this app refuses: in the made app whose allow-list claims
    // it (through that app's single-instance open) when the behaviour switch
    // allows, else in the default browser.
    static void openRefusedAddress(const std::string& url, bool background, GtkWindow* window);
    // Starts the app's executable with url; a running instance takes the
    // address and the new process ends. False when it cannot be started.
    static bool openInSiteApp(const std::string& bundlePath, const std::string& url);

    // The application registered for the URL's scheme, or null.
    static GRef<GAppInfo> appForUrl(const std::string& url);
    // The name the user knows the application by.
    static std::string displayName(GAppInfo* app);

    // Asks the UI (KTWebUIDelegate) whether to open url with app, without
    // blocking: "Open" launches it, "Cancel" does nothing.
    static void askToOpen(const std::string& url, GAppInfo* app, GtkWindow* parent);
};

} // namespace quilt
