#pragma once

#include "KTIdleTimer.h"
#include "core/services/KTNotificationInfo.h"

#include <gio/gio.h>

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>

namespace quilt {

// Shows notifications through the desktop's org.freedesktop.Notifications
// server and relays clicks to the app that posted them: the "default"
// action (a click on the notification itself) and one action per button,
// keyed "action-N" so a page's action names never clash with "default".
// ActionInvoked becomes NotificationAction(action, identifier) on the
// poster's unique name at /org/quilt/HelperClient, with the page's action
// name (or "default") and the notification's identifier. A notification
// holds the idle timer until the server closes it or its app leaves the bus.
class KTDesktopNotifier {
public:
    KTDesktopNotifier(GDBusConnection* connection, KTIdleTimer& idle);
    ~KTDesktopNotifier();
    KTDesktopNotifier(const KTDesktopNotifier&) = delete;
    KTDesktopNotifier& operator=(const KTDesktopNotifier&) = delete;

    // `client` is the poster's unique bus name; `done` gets whether the
    // server took the notification.
    void post(const KTNotificationInfo& info, const std::string& appName, const std::string& appIcon,
              const std::string& client, std::function<void(bool)> done);

    size_t openCount() const { return open_.size(); }

private:
    struct Posted {
        std::string client;
        std::string identifier;
        std::map<std::string, std::string> actions; // key -> the page's action name
    };
    struct Request;

    void withCapabilities(std::function<void()> then);
    void notify(Request* request);
    void opened(uint32_t id, Posted posted);
    void closed(uint32_t id);
    void invoked(uint32_t id, const std::string& key);
    void clientLeft(const std::string& client);
    static void onSignal(GDBusConnection*, const char*, const char*, const char*, const char*, GVariant*, gpointer);

    GDBusConnection* connection_;
    KTIdleTimer& idle_;
    guint serverSignals_ = 0, busSignals_ = 0;
    std::optional<bool> bodyMarkup_;
    std::map<uint32_t, Posted> open_;
};

} // namespace quilt
