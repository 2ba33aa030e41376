#include "HelperSession.h"

#include "core/services/KTHelperBusNames.h"

#include <cstdlib>
#include <mutex>

using namespace quilt;
using namespace quilt::test;

namespace {

// Watches the bus like dbus-monitor: every Notify call anyone makes.
class NotifyMonitor {
public:
    NotifyMonitor()
    {
        GError* error = nullptr;
        connection_ = g_dbus_connection_new_for_address_sync(
            std::getenv("DBUS_SESSION_BUS_ADDRESS"),
            GDBusConnectionFlags(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT
                                 | G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
            nullptr, nullptr, &error);
        EXPECT_TRUE(connection_) << (error ? error->message : "");
        if (!connection_)
            return;
        filter_ = g_dbus_connection_add_filter(connection_, onMessage, this, nullptr);
        const char* rules[] = {"type='method_call',interface='org.freedesktop.Notifications',member='Notify'",
                               nullptr};
        GVariant* reply = g_dbus_connection_call_sync(
            connection_, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus.Monitoring",
            "BecomeMonitor", g_variant_new("(^asu)", rules, 0u), nullptr, G_DBUS_CALL_FLAGS_NONE, 5000, nullptr,
            &error);
        EXPECT_TRUE(reply) << (error ? error->message : "");
        if (reply)
            g_variant_unref(reply);
        g_clear_error(&error);
    }
    ~NotifyMonitor()
    {
        if (!connection_)
            return;
        g_dbus_connection_remove_filter(connection_, filter_);
        g_dbus_connection_close_sync(connection_, nullptr, nullptr);
        g_object_unref(connection_);
    }
    std::vector<std::string> calls() const
    {
        std::lock_guard lock(mutex_);
        return calls_;
    }

private:
    static GDBusMessage* onMessage(GDBusConnection*, GDBusMessage* message, gboolean incoming, gpointer data)
    {
        auto* self = static_cast<NotifyMonitor*>(data);
        const auto type = g_dbus_message_get_message_type(message);
        if (!incoming || type == G_DBUS_MESSAGE_TYPE_METHOD_RETURN || type == G_DBUS_MESSAGE_TYPE_ERROR)
            return message;
        if (g_strcmp0(g_dbus_message_get_member(message), "Notify") == 0) {
            gchar* text = g_variant_print(g_dbus_message_get_body(message), FALSE);
            std::lock_guard lock(self->mutex_);
            self->calls_.push_back(text);
            g_free(text);
        }
        // Seen, not handled: a monitor that answered anything would be
        // thrown off the bus.
        g_object_unref(message);
        return nullptr;
    }

    GDBusConnection* connection_ = nullptr;
    guint filter_ = 0;
    mutable std::mutex mutex_;
    std::vector<std::string> calls_;
};

class HelperNotifications : public HelperSessionTest {
protected:
    void SetUp() override
    {
        HelperSessionTest::SetUp();
        if (IsSkipped())
            return;
        runProgram({"dunstctl", "close-all"});
        manager->setNotificationActionHandler([this](const std::string& action, const std::string& identifier) {
            clicks.push_back(action + " " + identifier);
        });
    }
    static int displayed() { return std::atoi(output({"dunstctl", "count", "displayed"}).c_str()); }

    std::vector<std::string> clicks;
};

KTNotificationInfo buildFinished(const std::string& identifier)
{
    return {"Build finished", "ci.example", "All 12 jobs passed & green", identifier,
            std::vector<KTNotificationActionInfo>{{"open-report", "Open report"}, {"rerun", std::nullopt}}};
}

// The notification reaches the desktop's server with the app's name and
// icon, a click action and both buttons (an untitled one labelled with its
// name), and dunst shows it.
TEST_F(HelperNotifications, ShownByTheDesktopWithTheAppsNameIconAndButtons)
{
    NotifyMonitor monitor;
    const int before = displayed();
    manager->postNotification(buildFinished("N-1"));
    ASSERT_TRUE(waitUntil([&] { return log->count("Notification posted") == 1; })) << "no reply from the helper";
    EXPECT_TRUE(waitUntil([&] { return displayed() == before + 1; }));
    ASSERT_TRUE(waitUntil([&] { return monitor.calls().size() == 1; }));
    EXPECT_EQ(monitor.calls()[0],
              "('Quilt Test', 0, 'dialog-information', 'Build finished', "
              "'ci.example\\nAll 12 jobs passed &amp; green', "
              "['default', 'Open', 'action-0', 'Open report', 'action-1', 'rerun'], {}, -1)");
}

// A click (dunstctl action runs the default action) comes back to the app
// that posted, with the notification's identifier; dunst then files the
// notification in its history.
TEST_F(HelperNotifications, ClickIsRelayedToThePostingApp)
{
    const int before = displayed();
    manager->postNotification(buildFinished("N-2"));
    ASSERT_TRUE(waitUntil([&] { return displayed() == before + 1; }));
    runProgram({"dunstctl", "action"});
    ASSERT_TRUE(waitUntil([&] { return !clicks.empty(); })) << "no call-back";
    EXPECT_EQ(clicks, std::vector<std::string>{"default N-2"});
    const std::string history = output({"dunstctl", "history"});
    EXPECT_NE(history.find("Build finished"), std::string::npos) << history;
    EXPECT_NE(history.find("Quilt Test"), std::string::npos) << history;
}

// Only the helper may call the app back: a call from anyone else is refused
// and does nothing.
TEST_F(HelperNotifications, CallBackRefusesCallersOtherThanTheHelper)
{
    manager->postNotification(buildFinished("N-3"));
    ASSERT_TRUE(waitUntil([&] { return log->count("Notification posted") == 1; }));
    GDBusConnection* stranger = g_dbus_connection_new_for_address_sync(
        std::getenv("DBUS_SESSION_BUS_ADDRESS"),
        GDBusConnectionFlags(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT | G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
        nullptr, nullptr, nullptr);
    ASSERT_TRUE(stranger);
    // Asynchronous: the app's side answers on this thread's loop.
    GError* error = nullptr;
    bool answered = false;
    struct Answer {
        GError** error;
        bool* answered;
    } answer{&error, &answered};
    g_dbus_connection_call(
        stranger, g_dbus_connection_get_unique_name(bus()), KTHelperBusNames::kClientPath,
        KTHelperBusNames::kClientInterface, "NotificationAction", g_variant_new("(ss)", "default", "N-3"), nullptr,
        G_DBUS_CALL_FLAGS_NONE, 5000, nullptr,
        [](GObject* source, GAsyncResult* result, gpointer data) {
            auto* a = static_cast<Answer*>(data);
            GVariant* reply = g_dbus_connection_call_finish(G_DBUS_CONNECTION(source), result, a->error);
            if (reply)
                g_variant_unref(reply);
            *a->answered = true;
        },
        &answer);
    ASSERT_TRUE(waitUntil([&] { return answered; }));
    EXPECT_TRUE(g_error_matches(error, G_DBUS_ERROR, G_DBUS_ERROR_ACCESS_DENIED)) << (error ? error->message : "");
    g_clear_error(&error);
    while (g_main_context_iteration(nullptr, FALSE)) {
    }
    EXPECT_TRUE(clicks.empty());
    g_object_unref(stranger);
}

} // namespace
