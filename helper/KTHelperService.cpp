#include "KTHelperService.h"

#include "KTKeyringStore.h"
#include "KTLoginSite.h"
#include "core/config/KTLog.h"
#include "core/services/KTHelperBusNames.h"
#include "core/services/KTVariantReader.h"
#include "core/services/QuiltHelperBus.h"

#include <glib-unix.h>

#include <algorithm>
#include <csignal>
#include <cstring>
#include <initializer_list>
#include <optional>
#include <vector>

namespace quilt {

namespace {

// Every string argument is bounded like a record's fields.
bool sizesFit(std::initializer_list<const char*> texts)
{
    for (const char* text : texts)
        if (std::strlen(text) > KTVariantReader::kMaxStringBytes)
            return false;
    return true;
}

gboolean refuse(GDBusMethodInvocation* invocation, const char* why)
{
    g_dbus_method_invocation_return_error_literal(invocation, G_DBUS_ERROR, G_DBUS_ERROR_INVALID_ARGS, why);
    return TRUE;
}

constexpr const char* kTooLong = "an argument is longer than the helper accepts";
constexpr size_t kMaxSites = 64;

// The distinct sites of a list of addresses, in order; nullopt when the
// list is longer than the helper accepts or holds an over-long string.
std::optional<std::vector<KTLoginSite>> sitesOf(const char* const* urls)
{
    std::vector<KTLoginSite> sites;
    size_t n = 0;
    for (const char* const* u = urls; *u; ++u, ++n) {
        if (n >= kMaxSites || !sizesFit({*u}))
            return std::nullopt;
        auto site = KTLoginSite::fromURL(*u);
        if (site && std::none_of(sites.begin(), sites.end(),
                                 [&](const KTLoginSite& s) { return s.origin() == site->origin(); }))
            sites.push_back(*site);
    }
    return sites;
}

} // namespace

KTHelperService::KTHelperService(GDBusConnection* connection, GMainLoop* loop, unsigned idleSeconds)
    : connection_(connection)
    , loop_(loop)
    , idle_(idleSeconds, [this] { quit(); })
    , notifier_(connection, idle_)
    , skeleton_(GRef<QuiltBusQuiltHelperProtocol>::adopt(quilt_bus_quilt_helper_protocol_skeleton_new()))
{
}

KTHelperService::~KTHelperService()
{
    if (nameId_)
        g_bus_unown_name(nameId_);
    g_dbus_interface_skeleton_unexport(G_DBUS_INTERFACE_SKELETON(skeleton_.get()));
}

int KTHelperService::run()
{
    GError* error = nullptr;
    GDBusConnection* connection = g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, &error);
    if (!connection) {
        KTLog::line(std::string("error: ") + error->message);
        g_error_free(error);
        return 1;
    }
    GMainLoop* loop = g_main_loop_new(nullptr, FALSE);
    int status = 1;
    {
        KTHelperService service(connection, loop, KTIdleTimer::secondsFromEnvironment());
        if (service.start()) {
            g_main_loop_run(loop);
            status = service.status_;
        }
    }
    // Answers already given must leave before the process does.
    g_dbus_connection_flush_sync(connection, nullptr, nullptr);
    g_main_loop_unref(loop);
    g_object_unref(connection);
    return status;
}

bool KTHelperService::start()
{
    connectHandlers();
    GError* error = nullptr;
    if (!g_dbus_interface_skeleton_export(G_DBUS_INTERFACE_SKELETON(skeleton_.get()), connection_,
                                          KTHelperBusNames::kServicePath, &error)) {
        KTLog::line(std::string("error: ") + error->message);
        g_error_free(error);
        return false;
    }
    g_unix_signal_add(SIGTERM, [](gpointer self) -> gboolean {
        static_cast<KTHelperService*>(self)->quit();
        return G_SOURCE_REMOVE;
    }, this);
    // Another helper already serving the name: this one has nothing to do.
    nameId_ = g_bus_own_name_on_connection(
        connection_, KTHelperBusNames::kServiceName, G_BUS_NAME_OWNER_FLAGS_DO_NOT_QUEUE, nullptr,
        [](GDBusConnection*, const char* name, gpointer self) {
            KTLog::line(std::string("error: lost the bus name ") + name);
            static_cast<KTHelperService*>(self)->status_ = 1;
            static_cast<KTHelperService*>(self)->quit();
        },
        this, nullptr);
    return true;
}

void KTHelperService::quit()
{
    // Give the name up first, so the next request starts a new helper
    // instead of reaching this one on its way out.
    if (nameId_)
        g_bus_unown_name(nameId_);
    nameId_ = 0;
    g_main_loop_quit(loop_);
}

void KTHelperService::connectHandlers()
{
    auto* s = skeleton_.get();
    g_signal_connect(s, "handle-post-notification", G_CALLBACK(onPostNotification), this);
    g_signal_connect(s, "handle-credentials-saved-for", G_CALLBACK(onCredentialsSavedFor), this);
    g_signal_connect(s, "handle-password-for", G_CALLBACK(onPasswordFor), this);
    g_signal_connect(s, "handle-update-credentials", G_CALLBACK(onUpdateCredentials), this);
    g_signal_connect(s, "handle-save-credentials", G_CALLBACK(onSaveCredentials), this);
    g_signal_connect(s, "handle-logins-saved-for", G_CALLBACK(onLoginsSavedFor), this);
    g_signal_connect(s, "handle-remove-credentials", G_CALLBACK(onRemoveCredentials), this);
    g_signal_connect(s, "handle-remove-all-credentials", G_CALLBACK(onRemoveAllCredentials), this);
}

void KTHelperService::inThread(Job work)
{
    struct Task {
        KTHelperService* self;
        Job work;
        std::function<void()> done;
    };
    idle_.hold();
    GTask* task = g_task_new(nullptr, nullptr,
                             [](GObject*, GAsyncResult* result, gpointer) {
                                 auto* t = static_cast<Task*>(g_task_get_task_data(G_TASK(result)));
                                 if (t->done)
                                     t->done();
                                 t->self->idle_.release();
                             },
                             nullptr);
    g_task_set_task_data(task, new Task{this, std::move(work), {}}, [](gpointer t) { delete static_cast<Task*>(t); });
    g_task_run_in_thread(task, [](GTask* task, gpointer, gpointer data, GCancellable*) {
        auto* t = static_cast<Task*>(data);
        t->done = t->work();
        g_task_return_boolean(task, TRUE);
    });
    g_object_unref(task);
}

gboolean KTHelperService::onPostNotification(QuiltBusQuiltHelperProtocol* object, GDBusMethodInvocation* invocation,
                                             GVariant* record, const char* appName, const char* appIcon,
                                             gpointer data)
{
    if (!sizesFit({appName, appIcon}))
        return refuse(invocation, kTooLong);
    auto info = KTNotificationInfo::fromVariant(record);
    if (!info)
        return refuse(invocation, "the notification record was refused");
    auto* self = static_cast<KTHelperService*>(data);
    self->idle_.hold();
    g_object_ref(object);
    self->notifier_.post(*info, appName, appIcon, g_dbus_method_invocation_get_sender(invocation),
                         [self, object, invocation](bool delivered) {
                             quilt_bus_quilt_helper_protocol_complete_post_notification(object, invocation, delivered);
                             g_object_unref(object);
                             self->idle_.release();
                         });
    return TRUE;
}

template <typename Work, typename Reply>
void KTHelperService::replyInThread(QuiltBusQuiltHelperProtocol* object, GDBusMethodInvocation* invocation,
                                    Work work, Reply reply)
{
    g_object_ref(object);
    inThread([object, invocation, work, reply]() -> std::function<void()> {
        auto result = work();
        return [object, invocation, reply, result] {
            reply(object, invocation, result);
            g_object_unref(object);
        };
    });
}

namespace {

// A reply sending logins as the bus does: an array of dictionaries.
auto listReply(void (*complete)(QuiltBusQuiltHelperProtocol*, GDBusMethodInvocation*, GVariant*))
{
    return [complete](QuiltBusQuiltHelperProtocol* object, GDBusMethodInvocation* invocation,
                      const std::vector<KTCredentials>& list) {
        GVariantBuilder builder;
        g_variant_builder_init(&builder, G_VARIANT_TYPE("aa{sv}"));
        for (const auto& credentials : list)
            g_variant_builder_add_value(&builder, credentials.toVariant());
        complete(object, invocation, g_variant_builder_end(&builder));
    };
}

} // namespace

// Save and update share their checks: an empty user name or password, or
// an address without a site, is answered false without asking the keyring.
gboolean KTHelperService::store(QuiltBusQuiltHelperProtocol* object, GDBusMethodInvocation* invocation,
                                const char* password, const char* username, const char* url, gpointer data,
                                Store keep, Complete complete)
{
    if (!sizesFit({password, username, url}))
        return refuse(invocation, kTooLong);
    auto site = KTLoginSite::fromURL(url);
    std::string secret = password, user = username;
    static_cast<KTHelperService*>(data)->replyInThread(
        object, invocation,
        [site, secret, user, keep] { return site && !user.empty() && !secret.empty() && keep(secret, user, *site); },
        complete);
    return TRUE;
}

gboolean KTHelperService::onCredentialsSavedFor(QuiltBusQuiltHelperProtocol* object,
                                                GDBusMethodInvocation* invocation, const char* url, gpointer data)
{
    if (!sizesFit({url}))
        return refuse(invocation, kTooLong);
    auto site = KTLoginSite::fromURL(url);
    static_cast<KTHelperService*>(data)->replyInThread(
        object, invocation,
        [site] { return site ? KTKeyringStore::credentialsFor(*site) : std::vector<KTCredentials>{}; },
        listReply(quilt_bus_quilt_helper_protocol_complete_credentials_saved_for));
    return TRUE;
}

gboolean KTHelperService::onPasswordFor(QuiltBusQuiltHelperProtocol* object, GDBusMethodInvocation* invocation,
                                        const char* username, const char* url, gpointer data)
{
    if (!sizesFit({username, url}))
        return refuse(invocation, kTooLong);
    auto site = KTLoginSite::fromURL(url);
    std::string user = username;
    static_cast<KTHelperService*>(data)->replyInThread(
        object, invocation,
        [site, user] { return site && !user.empty() ? KTKeyringStore::passwordFor(user, *site) : std::nullopt; },
        [](QuiltBusQuiltHelperProtocol* object, GDBusMethodInvocation* invocation,
           const std::optional<std::string>& password) {
            quilt_bus_quilt_helper_protocol_complete_password_for(object, invocation, password.has_value(),
                                                                  password.value_or("").c_str());
        });
    return TRUE;
}

gboolean KTHelperService::onUpdateCredentials(QuiltBusQuiltHelperProtocol* object, GDBusMethodInvocation* invocation,
                                              const char* password, const char* username, const char* url,
                                              gpointer data)
{
    return store(object, invocation, password, username, url, data, KTKeyringStore::update,
                 quilt_bus_quilt_helper_protocol_complete_update_credentials);
}

gboolean KTHelperService::onSaveCredentials(QuiltBusQuiltHelperProtocol* object, GDBusMethodInvocation* invocation,
                                            const char* password, const char* username, const char* url,
                                            gpointer data)
{
    return store(object, invocation, password, username, url, data, KTKeyringStore::save,
                 quilt_bus_quilt_helper_protocol_complete_save_credentials);
}

gboolean KTHelperService::onLoginsSavedFor(QuiltBusQuiltHelperProtocol* object, GDBusMethodInvocation* invocation,
                                           const char* const* urls, gpointer data)
{
    auto sites = sitesOf(urls);
    if (!sites)
        return refuse(invocation, "too many addresses, or one too long");
    static_cast<KTHelperService*>(data)->replyInThread(
        object, invocation,
        [sites = *sites] {
            std::vector<KTCredentials> list;
            for (const auto& site : sites)
                for (auto& credentials : KTKeyringStore::credentialsFor(site)) {
                    // Listed, not revealed: a password is asked for one by one.
                    credentials.password.reset();
                    list.push_back(std::move(credentials));
                }
            return list;
        },
        listReply(quilt_bus_quilt_helper_protocol_complete_logins_saved_for));
    return TRUE;
}

gboolean KTHelperService::onRemoveCredentials(QuiltBusQuiltHelperProtocol* object, GDBusMethodInvocation* invocation,
                                              const char* username, const char* url, gpointer data)
{
    if (!sizesFit({username, url}))
        return refuse(invocation, kTooLong);
    auto site = KTLoginSite::fromURL(url);
    std::string user = username;
    static_cast<KTHelperService*>(data)->replyInThread(
        object, invocation, [site, user] { return site && !user.empty() && KTKeyringStore::remove(user, *site); },
        quilt_bus_quilt_helper_protocol_complete_remove_credentials);
    return TRUE;
}

gboolean KTHelperService::onRemoveAllCredentials(QuiltBusQuiltHelperProtocol* object,
                                                 GDBusMethodInvocation* invocation, const char* const* urls,
                                                 gpointer data)
{
    auto sites = sitesOf(urls);
    if (!sites)
        return refuse(invocation, "too many addresses, or one too long");
    static_cast<KTHelperService*>(data)->replyInThread(
        object, invocation,
        [sites = *sites] {
            unsigned removed = 0;
            for (const auto& site : sites)
                removed += KTKeyringStore::removeAll(site);
            return removed;
        },
        quilt_bus_quilt_helper_protocol_complete_remove_all_credentials);
    return TRUE;
}

} // namespace quilt
