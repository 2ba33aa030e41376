#include "KTDesktopNotifier.h"

#include "core/config/KTLog.h"
#include "core/services/KTHelperBusNames.h"

#include <memory>
#include <vector>

namespace quilt {

namespace {

constexpr const char* kServer = "org.freedesktop.Notifications";
constexpr const char* kServerPath = "/org/freedesktop/Notifications";
constexpr const char* kDefaultAction = "default";
constexpr int kCallTimeoutMs = 10000;

void logError(GError* error)
{
    if (!error)
        return;
    KTLog::line(std::string("error: ") + error->message);
    g_error_free(error);
}

std::string bodyOf(const KTNotificationInfo& info, bool markup)
{
    std::string body = info.subTitle.value_or("");
    const std::string message = info.message.value_or("");
    if (!body.empty() && !message.empty())
        body += "\n";
    body += message;
    if (!markup)
        return body;
    gchar* escaped = g_markup_escape_text(body.c_str(), -1);
    std::string result = escaped;
    g_free(escaped);
    return result;
}

} // namespace

struct KTDesktopNotifier::Request {
    KTDesktopNotifier* self;
    KTNotificationInfo info;
    std::string appName, appIcon, client;
    std::function<void(bool)> done;
};

KTDesktopNotifier::KTDesktopNotifier(GDBusConnection* connection, KTIdleTimer& idle)
    : connection_(connection), idle_(idle)
{
    serverSignals_ = g_dbus_connection_signal_subscribe(connection_, kServer, kServer, nullptr, kServerPath, nullptr,
                                                        G_DBUS_SIGNAL_FLAGS_NONE, onSignal, this, nullptr);
    busSignals_ = g_dbus_connection_signal_subscribe(connection_, "org.freedesktop.DBus", "org.freedesktop.DBus",
                                                     "NameOwnerChanged", "/org/freedesktop/DBus", nullptr,
                                                     G_DBUS_SIGNAL_FLAGS_NONE, onSignal, this, nullptr);
}

KTDesktopNotifier::~KTDesktopNotifier()
{
    g_dbus_connection_signal_unsubscribe(connection_, serverSignals_);
    g_dbus_connection_signal_unsubscribe(connection_, busSignals_);
}

void KTDesktopNotifier::post(const KTNotificationInfo& info, const std::string& appName, const std::string& appIcon,
                             const std::string& client, std::function<void(bool)> done)
{
    auto* request = new Request{this, info, appName, appIcon, client, std::move(done)};
    withCapabilities([this, request] { notify(request); });
}

// Whether the server reads the body as markup decides whether it is escaped;
// asked once per helper run.
void KTDesktopNotifier::withCapabilities(std::function<void()> then)
{
    if (bodyMarkup_) {
        then();
        return;
    }
    using Then = std::pair<KTDesktopNotifier*, std::function<void()>>;
    g_dbus_connection_call(
        connection_, kServer, kServerPath, kServer, "GetCapabilities", nullptr, G_VARIANT_TYPE("(as)"),
        G_DBUS_CALL_FLAGS_NONE, kCallTimeoutMs, nullptr,
        [](GObject* source, GAsyncResult* result, gpointer data) {
            std::unique_ptr<Then> next(static_cast<Then*>(data));
            GError* error = nullptr;
            GVariant* reply = g_dbus_connection_call_finish(G_DBUS_CONNECTION(source), result, &error);
            bool markup = false;
            if (reply) {
                const gchar** caps = nullptr;
                g_variant_get(reply, "(^a&s)", &caps);
                markup = caps && g_strv_contains(caps, "body-markup");
                g_free(caps);
                g_variant_unref(reply);
            }
            logError(error);
            next->first->bodyMarkup_ = markup;
            next->second();
        },
        new Then(this, std::move(then)));
}

void KTDesktopNotifier::notify(Request* request)
{
    const KTNotificationInfo& info = request->info;
    GVariantBuilder actions;
    g_variant_builder_init(&actions, G_VARIANT_TYPE("as"));
    g_variant_builder_add(&actions, "s", kDefaultAction);
    g_variant_builder_add(&actions, "s", "Open");
    const auto& buttons = info.actions.value_or(std::vector<KTNotificationActionInfo>{});
    for (size_t i = 0; i < buttons.size(); ++i) {
        const std::string key = "action-" + std::to_string(i);
        const auto& label = buttons[i].title ? buttons[i].title : buttons[i].identifier;
        g_variant_builder_add(&actions, "s", key.c_str());
        g_variant_builder_add(&actions, "s", label.value_or("").c_str());
    }
    const std::string body = bodyOf(info, *bodyMarkup_);
    GVariant* args = g_variant_new("(susssasa{sv}i)", request->appName.c_str(), 0u, request->appIcon.c_str(),
                                   info.title.value_or("").c_str(), body.c_str(), &actions, nullptr, -1);
    g_dbus_connection_call(
        connection_, kServer, kServerPath, kServer, "Notify", args, G_VARIANT_TYPE("(u)"), G_DBUS_CALL_FLAGS_NONE,
        kCallTimeoutMs, nullptr,
        [](GObject* source, GAsyncResult* result, gpointer data) {
            std::unique_ptr<Request> request(static_cast<Request*>(data));
            GError* error = nullptr;
            GVariant* reply = g_dbus_connection_call_finish(G_DBUS_CONNECTION(source), result, &error);
            logError(error);
            if (reply) {
                guint32 id = 0;
                g_variant_get(reply, "(u)", &id);
                g_variant_unref(reply);
                Posted posted{request->client, request->info.identifier.value_or(""), {{kDefaultAction, kDefaultAction}}};
                const auto& buttons = request->info.actions.value_or(std::vector<KTNotificationActionInfo>{});
                for (size_t i = 0; i < buttons.size(); ++i)
                    posted.actions["action-" + std::to_string(i)] = buttons[i].identifier.value_or("");
                request->self->opened(id, std::move(posted));
            }
            request->done(reply != nullptr);
        },
        request);
}

void KTDesktopNotifier::opened(uint32_t id, Posted posted)
{
    if (!open_.count(id))
        idle_.hold();
    open_[id] = std::move(posted);
}

void KTDesktopNotifier::closed(uint32_t id)
{
    if (open_.erase(id))
        idle_.release();
}

void KTDesktopNotifier::invoked(uint32_t id, const std::string& key)
{
    auto it = open_.find(id);
    if (it == open_.end())
        return;
    auto action = it->second.actions.find(key);
    if (action == it->second.actions.end())
        return;
    g_dbus_connection_call(
        connection_, it->second.client.c_str(), KTHelperBusNames::kClientPath, KTHelperBusNames::kClientInterface,
        "NotificationAction", g_variant_new("(ss)", action->second.c_str(), it->second.identifier.c_str()), nullptr,
        G_DBUS_CALL_FLAGS_NO_AUTO_START, kCallTimeoutMs, nullptr,
        [](GObject* source, GAsyncResult* result, gpointer) {
            GError* error = nullptr;
            GVariant* reply = g_dbus_connection_call_finish(G_DBUS_CONNECTION(source), result, &error);
            if (reply)
                g_variant_unref(reply);
            logError(error);
        },
        nullptr);
}

// Nobody is left to tell about a click: take its notifications down.
void KTDesktopNotifier::clientLeft(const std::string& client)
{
    for (auto it = open_.begin(); it != open_.end();) {
        if (it->second.client != client) {
            ++it;
            continue;
        }
        g_dbus_connection_call(connection_, kServer, kServerPath, kServer, "CloseNotification",
                               g_variant_new("(u)", it->first), nullptr, G_DBUS_CALL_FLAGS_NONE, kCallTimeoutMs,
                               nullptr, nullptr, nullptr);
        it = open_.erase(it);
        idle_.release();
    }
}

void KTDesktopNotifier::onSignal(GDBusConnection*, const char*, const char*, const char*, const char* signal,
                                 GVariant* parameters, gpointer data)
{
    auto* self = static_cast<KTDesktopNotifier*>(data);
    const std::string name = signal;
    if (name == "ActionInvoked" && g_variant_is_of_type(parameters, G_VARIANT_TYPE("(us)"))) {
        guint32 id = 0;
        const char* key = nullptr;
        g_variant_get(parameters, "(u&s)", &id, &key);
        self->invoked(id, key);
    } else if (name == "NotificationClosed" && g_variant_is_of_type(parameters, G_VARIANT_TYPE("(uu)"))) {
        guint32 id = 0, reason = 0;
        g_variant_get(parameters, "(uu)", &id, &reason);
        self->closed(id);
    } else if (name == "NameOwnerChanged" && g_variant_is_of_type(parameters, G_VARIANT_TYPE("(sss)"))) {
        const char *owned = nullptr, *oldOwner = nullptr, *newOwner = nullptr;
        g_variant_get(parameters, "(&s&s&s)", &owned, &oldOwner, &newOwner);
        if (!*newOwner && g_dbus_is_unique_name(owned))
            self->clientLeft(owned);
    }
}

} // namespace quilt
