#include "core/services/KTServiceManager.h"

#include "core/config/KTBundle.h"
#include "core/config/KTLog.h"
#include "core/config/KTMainContext.h"
#include "core/config/KTShared.h"
#include "core/services/KTHelperBusNames.h"
#include "core/services/QuiltHelperBus.h"

#include <cstdlib>
#include <thread>

namespace quilt {

namespace {

int replyTimeoutMs()
{
    // Tests of a hung helper shorten the wait.
    const char* env = std::getenv("QUILT_HELPER_REPLY_TIMEOUT_MS");
    const int value = env ? std::atoi(env) : 0;
    return value > 0 ? value : KTServiceManager::kReplyTimeoutMs;
}

bool cancelled(GError* error) { return error && g_error_matches(error, G_IO_ERROR, G_IO_ERROR_CANCELLED); }

// The bus could not start or reach the helper at all.
bool unreachable(GError* error)
{
    if (g_error_matches(error, G_IO_ERROR, G_IO_ERROR_CLOSED)
        || g_error_matches(error, G_DBUS_ERROR, G_DBUS_ERROR_SERVICE_UNKNOWN)
        || g_error_matches(error, G_DBUS_ERROR, G_DBUS_ERROR_NAME_HAS_NO_OWNER)
        || g_error_matches(error, G_DBUS_ERROR, G_DBUS_ERROR_DISCONNECTED))
        return true;
    gchar* remote = g_dbus_error_get_remote_error(error);
    const bool spawn = remote && g_str_has_prefix(remote, "org.freedesktop.DBus.Error.Spawn.");
    g_free(remote);
    return spawn;
}

std::vector<KTCredentials> credentialsFrom(GVariant* array)
{
    std::vector<KTCredentials> list;
    const gsize count = array ? g_variant_n_children(array) : 0;
    for (gsize i = 0; i < count; ++i) {
        GVariant* child = g_variant_get_child_value(array, i);
        if (auto credentials = KTCredentials::fromVariant(child))
            list.push_back(std::move(*credentials));
        g_variant_unref(child);
    }
    return list;
}

// A NULL-terminated copy for the generated proxy, owned by the caller.
std::vector<const char*> stringArray(const std::vector<std::string>& strings)
{
    std::vector<const char*> array;
    for (const auto& s : strings)
        array.push_back(s.c_str());
    array.push_back(nullptr);
    return array;
}

} // namespace

// One request under way: its finish step gives back what to run on success.
struct KTServiceManager::Call {
    using Finish = std::function<std::function<void()>(GObject*, GAsyncResult*, GError**)>;
    KTServiceManager* self;
    Finish finish;

    static void onReply(GObject* source, GAsyncResult* result, gpointer data)
    {
        std::unique_ptr<Call> call(static_cast<Call*>(data));
        GError* error = nullptr;
        auto deliver = call->finish(source, result, &error);
        if (cancelled(error)) {
            // The manager may be gone: touch nothing.
            g_error_free(error);
            return;
        }
        if (call->self->succeeded(error) && deliver)
            deliver();
    }
};

KTServiceManager& KTServiceManager::sharedManager() { return KTShared<KTServiceManager>::get(); }

std::unique_ptr<KTServiceManager> KTServiceManager::create() { return std::make_unique<KTServiceManager>(); }

KTServiceManager::KTServiceManager()
    : timeoutMs_(replyTimeoutMs())
{
}

KTServiceManager::~KTServiceManager() { disconnect(); }

void KTServiceManager::connect()
{
    if (connecting_ || proxy_)
        return;
    connecting_ = true;
    cancellable_ = GRef<GCancellable>::adopt(g_cancellable_new());
    g_bus_get(G_BUS_TYPE_SESSION, cancellable_.get(), onBus, this);
}

void KTServiceManager::disconnect()
{
    if (cancellable_)
        g_cancellable_cancel(cancellable_.get());
    cancellable_ = {};
    ownerSignal_.disconnect();
    actionSignal_.disconnect();
    if (callback_)
        g_dbus_interface_skeleton_unexport(G_DBUS_INTERFACE_SKELETON(callback_.get()));
    callback_ = {};
    proxy_ = {};
    pending_.clear();
    connecting_ = false;
    helperPresent_ = false;
}

void KTServiceManager::onBus(GObject*, GAsyncResult* result, gpointer data)
{
    GError* error = nullptr;
    GDBusConnection* connection = g_bus_get_finish(result, &error);
    if (cancelled(error)) {
        g_error_free(error);
        return;
    }
    auto* self = static_cast<KTServiceManager*>(data);
    if (!connection) {
        g_error_free(error);
        self->failPending();
        return;
    }
    self->busReady(connection);
    g_object_unref(connection);
}

void KTServiceManager::busReady(GDBusConnection* connection)
{
    exportCallback(connection);
    // Calls go to the current owner, or to the well-known name, which makes
    // the bus start the helper.
    const auto flags = GDBusProxyFlags(G_DBUS_PROXY_FLAGS_DO_NOT_LOAD_PROPERTIES
                                       | G_DBUS_PROXY_FLAGS_DO_NOT_CONNECT_SIGNALS
                                       | G_DBUS_PROXY_FLAGS_DO_NOT_AUTO_START_AT_CONSTRUCTION);
    quilt_bus_quilt_helper_protocol_proxy_new(connection, flags, KTHelperBusNames::kServiceName,
                                              KTHelperBusNames::kServicePath, cancellable_.get(), onProxy, this);
}

void KTServiceManager::onProxy(GObject*, GAsyncResult* result, gpointer data)
{
    GError* error = nullptr;
    QuiltBusQuiltHelperProtocol* proxy = quilt_bus_quilt_helper_protocol_proxy_new_finish(result, &error);
    if (cancelled(error)) {
        g_error_free(error);
        return;
    }
    auto* self = static_cast<KTServiceManager*>(data);
    if (!proxy) {
        g_error_free(error);
        self->failPending();
        return;
    }
    self->proxyReady(proxy);
}

void KTServiceManager::proxyReady(QuiltBusQuiltHelperProtocol* proxy)
{
    proxy_ = GRef<QuiltBusQuiltHelperProtocol>::adopt(proxy);
    connecting_ = false;
    g_dbus_proxy_set_default_timeout(G_DBUS_PROXY(proxy), timeoutMs_);
    ownerSignal_ = KTSignal(proxy, "notify::g-name-owner",
                            G_CALLBACK(+[](GObject*, GParamSpec*, gpointer self) {
                                static_cast<KTServiceManager*>(self)->ownerChanged();
                            }),
                            this);
    ownerChanged();
    auto requests = std::move(pending_);
    pending_.clear();
    for (auto& request : requests)
        request(proxy_.get(), cancellable_.get());
}

void KTServiceManager::failPending()
{
    connecting_ = false;
    pending_.clear();
    helperUnreachable();
}

void KTServiceManager::exportCallback(GDBusConnection* connection)
{
    callback_ = GRef<QuiltBusQuiltInterfaceProtocol>::adopt(quilt_bus_quilt_interface_protocol_skeleton_new());
    actionSignal_ = KTSignal(callback_.get(), "handle-notification-action", G_CALLBACK(onAction), this);
    GError* error = nullptr;
    if (!g_dbus_interface_skeleton_export(G_DBUS_INTERFACE_SKELETON(callback_.get()), connection,
                                          KTHelperBusNames::kClientPath, &error)) {
        KTLog::line(std::string("error: ") + error->message);
        g_error_free(error);
    }
}

gboolean KTServiceManager::onAction(QuiltBusQuiltInterfaceProtocol* object, GDBusMethodInvocation* invocation,
                                    const char* action, const char* identifier, gpointer data)
{
    auto* self = static_cast<KTServiceManager*>(data);
    gchar* owner = self->proxy_ ? g_dbus_proxy_get_name_owner(G_DBUS_PROXY(self->proxy_.get())) : nullptr;
    const bool fromHelper = owner && g_strcmp0(owner, g_dbus_method_invocation_get_sender(invocation)) == 0;
    g_free(owner);
    if (!fromHelper) {
        g_dbus_method_invocation_return_error_literal(invocation, G_DBUS_ERROR, G_DBUS_ERROR_ACCESS_DENIED,
                                                      "only the helper service may call this");
        return TRUE;
    }
    quilt_bus_quilt_interface_protocol_complete_notification_action(object, invocation);
    self->notificationActionIdentifier(action, identifier);
    return TRUE;
}

void KTServiceManager::notificationActionIdentifier(const std::string& action, const std::string& identifier)
{
    struct Step {
        ActionHandler handler;
        std::string action, identifier;
    };
    auto* step = new Step{actionHandler_, action, identifier};
    g_idle_add_full(
        G_PRIORITY_DEFAULT,
        [](gpointer data) -> gboolean {
            auto* s = static_cast<Step*>(data);
            if (s->handler)
                s->handler(s->action, s->identifier);
            return G_SOURCE_REMOVE;
        },
        step, [](gpointer data) { delete static_cast<Step*>(data); });
}

void KTServiceManager::ownerChanged()
{
    gchar* owner = g_dbus_proxy_get_name_owner(G_DBUS_PROXY(proxy_.get()));
    if (owner) {
        helperPresent_ = true;
        unreachableLogged_ = false;
    } else {
        helperVanished();
    }
    g_free(owner);
}

void KTServiceManager::helperVanished()
{
    if (!helperPresent_)
        return;
    helperPresent_ = false;
    KTLog::line("connection used to work but suddenly terminated");
}

void KTServiceManager::helperUnreachable()
{
    if (unreachableLogged_)
        return;
    unreachableLogged_ = true;
    KTLog::line("connection cannot be established");
}

bool KTServiceManager::succeeded(GError* error)
{
    if (!error) {
        unreachableLogged_ = false;
        return true;
    }
    if (g_error_matches(error, G_DBUS_ERROR, G_DBUS_ERROR_NO_REPLY))
        helperVanished();
    else if (unreachable(error))
        helperUnreachable();
    else
        KTLog::line(std::string("error: ") + error->message);
    g_error_free(error);
    return false;
}

void KTServiceManager::send(Request request)
{
    // Replies arrive on the context a call was made from: always the main
    // one, so a request from another thread is moved there first.
    if (std::this_thread::get_id() != mainThread_) {
        auto shared = std::make_shared<Request>(std::move(request));
        KTMainContext::post(g_main_context_default(), [shared] { sharedManager().send(std::move(*shared)); });
        return;
    }
    if (proxy_) {
        request(proxy_.get(), cancellable_.get());
    } else {
        pending_.push_back(std::move(request));
        connect();
    }
}

void KTServiceManager::setApplicationIdentity(std::string name, std::string icon)
{
    identity_.emplace(std::move(name), std::move(icon));
}

void KTServiceManager::applicationIdentity(std::string& name, std::string& icon)
{
    if (!identity_) {
        KTBundle& bundle = KTBundle::main();
        identity_.emplace(bundle.infoString("CFBundleName"), bundle.bundleIdentifier());
    }
    name = identity_->first;
    icon = identity_->second;
}

void KTServiceManager::postNotification(const KTNotificationInfo& info)
{
    std::string name, icon;
    applicationIdentity(name, icon);
    std::shared_ptr<GVariant> record(g_variant_ref_sink(info.toVariant()), g_variant_unref);
    send([this, record, name, icon](QuiltBusQuiltHelperProtocol* proxy, GCancellable* cancellable) {
        auto* call = new Call{this, [](GObject* source, GAsyncResult* result, GError** error) {
                                  gboolean delivered = FALSE;
                                  quilt_bus_quilt_helper_protocol_call_post_notification_finish(
                                      QUILT_BUS_QUILT_HELPER_PROTOCOL(source), &delivered, result, error);
                                  return std::function<void()>([] { KTLog::line("Notification posted"); });
                              }};
        quilt_bus_quilt_helper_protocol_call_post_notification(proxy, record.get(), name.c_str(), icon.c_str(),
                                                               cancellable, Call::onReply, call);
    });
}

void KTServiceManager::credentialsSavedForWithReply(const std::string& url, CredentialsReply reply)
{
    send([this, url, reply](QuiltBusQuiltHelperProtocol* proxy, GCancellable* cancellable) {
        auto* call = new Call{this, [reply](GObject* source, GAsyncResult* result, GError** error) {
                                  GVariant* array = nullptr;
                                  if (!quilt_bus_quilt_helper_protocol_call_credentials_saved_for_finish(
                                          QUILT_BUS_QUILT_HELPER_PROTOCOL(source), &array, result, error))
                                      return std::function<void()>();
                                  auto list = credentialsFrom(array);
                                  g_variant_unref(array);
                                  return std::function<void()>([reply, list] { reply(list); });
                              }};
        quilt_bus_quilt_helper_protocol_call_credentials_saved_for(proxy, url.c_str(), cancellable, Call::onReply,
                                                                   call);
    });
}

void KTServiceManager::passwordForSavedForWithReply(const std::string& username, const std::string& url,
                                                    PasswordReply reply)
{
    send([this, username, url, reply](QuiltBusQuiltHelperProtocol* proxy, GCancellable* cancellable) {
        auto* call = new Call{this, [reply](GObject* source, GAsyncResult* result, GError** error) {
                                  gboolean found = FALSE;
                                  gchar* password = nullptr;
                                  if (!quilt_bus_quilt_helper_protocol_call_password_for_finish(
                                          QUILT_BUS_QUILT_HELPER_PROTOCOL(source), &found, &password, result, error))
                                      return std::function<void()>();
                                  std::optional<std::string> answer;
                                  if (found && password)
                                      answer = password;
                                  g_free(password);
                                  return std::function<void()>([reply, answer] { reply(answer); });
                              }};
        quilt_bus_quilt_helper_protocol_call_password_for(proxy, username.c_str(), url.c_str(), cancellable,
                                                          Call::onReply, call);
    });
}

void KTServiceManager::updateCredentialsForUsernameSavedForWithReply(const std::string& password,
                                                                     const std::string& username,
                                                                     const std::string& url, BoolReply reply)
{
    send([this, password, username, url, reply](QuiltBusQuiltHelperProtocol* proxy, GCancellable* cancellable) {
        auto* call = new Call{this, [reply](GObject* source, GAsyncResult* result, GError** error) {
                                  gboolean updated = FALSE;
                                  if (!quilt_bus_quilt_helper_protocol_call_update_credentials_finish(
                                          QUILT_BUS_QUILT_HELPER_PROTOCOL(source), &updated, result, error))
                                      return std::function<void()>();
                                  return std::function<void()>([reply, updated] { reply(updated); });
                              }};
        quilt_bus_quilt_helper_protocol_call_update_credentials(proxy, password.c_str(), username.c_str(),
                                                                url.c_str(), cancellable, Call::onReply, call);
    });
}

void KTServiceManager::saveCredentialsUsernameForURLWithReply(const std::string& password,
                                                              const std::string& username, const std::string& url,
                                                              BoolReply reply)
{
    send([this, password, username, url, reply](QuiltBusQuiltHelperProtocol* proxy, GCancellable* cancellable) {
        auto* call = new Call{this, [reply](GObject* source, GAsyncResult* result, GError** error) {
                                  gboolean saved = FALSE;
                                  if (!quilt_bus_quilt_helper_protocol_call_save_credentials_finish(
                                          QUILT_BUS_QUILT_HELPER_PROTOCOL(source), &saved, result, error))
                                      return std::function<void()>();
                                  return std::function<void()>([reply, saved] { reply(saved); });
                              }};
        quilt_bus_quilt_helper_protocol_call_save_credentials(proxy, password.c_str(), username.c_str(), url.c_str(),
                                                              cancellable, Call::onReply, call);
    });
}

void KTServiceManager::loginsSavedForWithReply(const std::vector<std::string>& urls, CredentialsReply reply)
{
    send([this, urls, reply](QuiltBusQuiltHelperProtocol* proxy, GCancellable* cancellable) {
        auto* call = new Call{this, [reply](GObject* source, GAsyncResult* result, GError** error) {
                                  GVariant* array = nullptr;
                                  if (!quilt_bus_quilt_helper_protocol_call_logins_saved_for_finish(
                                          QUILT_BUS_QUILT_HELPER_PROTOCOL(source), &array, result, error))
                                      return std::function<void()>();
                                  auto list = credentialsFrom(array);
                                  g_variant_unref(array);
                                  return std::function<void()>([reply, list] { reply(list); });
                              }};
        auto array = stringArray(urls);
        quilt_bus_quilt_helper_protocol_call_logins_saved_for(proxy, array.data(), cancellable, Call::onReply, call);
    });
}

void KTServiceManager::removeCredentialsForUsernameSavedForWithReply(const std::string& username,
                                                                     const std::string& url, BoolReply reply)
{
    send([this, username, url, reply](QuiltBusQuiltHelperProtocol* proxy, GCancellable* cancellable) {
        auto* call = new Call{this, [reply](GObject* source, GAsyncResult* result, GError** error) {
                                  gboolean removed = FALSE;
                                  if (!quilt_bus_quilt_helper_protocol_call_remove_credentials_finish(
                                          QUILT_BUS_QUILT_HELPER_PROTOCOL(source), &removed, result, error))
                                      return std::function<void()>();
                                  return std::function<void()>([reply, removed] { reply(removed); });
                              }};
        quilt_bus_quilt_helper_protocol_call_remove_credentials(proxy, username.c_str(), url.c_str(), cancellable,
                                                                Call::onReply, call);
    });
}

void KTServiceManager::removeAllCredentialsSavedForWithReply(const std::vector<std::string>& urls, CountReply reply)
{
    send([this, urls, reply](QuiltBusQuiltHelperProtocol* proxy, GCancellable* cancellable) {
        auto* call = new Call{this, [reply](GObject* source, GAsyncResult* result, GError** error) {
                                  guint removed = 0;
                                  if (!quilt_bus_quilt_helper_protocol_call_remove_all_credentials_finish(
                                          QUILT_BUS_QUILT_HELPER_PROTOCOL(source), &removed, result, error))
                                      return std::function<void()>();
                                  return std::function<void()>([reply, removed] { reply(removed); });
                              }};
        auto array = stringArray(urls);
        quilt_bus_quilt_helper_protocol_call_remove_all_credentials(proxy, array.data(), cancellable, Call::onReply,
                                                                    call);
    });
}

void KTServiceManager::allSavedCredentialsWithReply(ObjectReply reply)
{
    send([this, reply](QuiltBusQuiltHelperProtocol* proxy, GCancellable* cancellable) {
        auto* call = new Call{this, [reply](GObject* source, GAsyncResult* result, GError** error) {
                                  GVariant* answer = g_dbus_proxy_call_finish(G_DBUS_PROXY(source), result, error);
                                  if (!answer)
                                      return std::function<void()>();
                                  std::shared_ptr<GVariant> value(
                                      g_variant_n_children(answer) ? g_variant_get_child_value(answer, 0) : nullptr,
                                      [](GVariant* v) { if (v) g_variant_unref(v); });
                                  g_variant_unref(answer);
                                  return std::function<void()>([reply, value] { reply(value.get()); });
                              }};
        g_dbus_proxy_call(G_DBUS_PROXY(proxy), "AllSavedCredentials", nullptr, G_DBUS_CALL_FLAGS_NONE, -1,
                          cancellable, Call::onReply, call);
    });
}

} // namespace quilt
