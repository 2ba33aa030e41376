#pragma once

#include "core/config/GRef.h"
#include "core/config/KTSignal.h"
#include "core/services/KTCredentials.h"
#include "core/services/KTNotificationInfo.h"

#include <gio/gio.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

typedef struct _QuiltBusQuiltHelperProtocol QuiltBusQuiltHelperProtocol;
typedef struct _QuiltBusQuiltInterfaceProtocol QuiltBusQuiltInterfaceProtocol;

namespace quilt {

// The app's one connection to the helper service (org.quilt.Helper on the
// session bus), which keeps the logins in the user's keyring and shows
// desktop notifications. Nothing here waits: the proxy is made on the first
// request, every request is an asynchronous call, and each reply reaches its
// block on the main context. A request that gets no answer (helper missing,
// gone or hung past the reply timeout) never calls its block; the feature
// just does nothing. Nothing reconnects: the bus starts the helper again for
// the next request.
//
// The manager also serves the helper's call-back (notificationAction) at
// /org/quilt/HelperClient on the same connection; the helper finds it
// through the sender of PostNotification.
class KTServiceManager {
public:
    using CredentialsReply = std::function<void(std::vector<KTCredentials>)>;
    using PasswordReply = std::function<void(std::optional<std::string>)>;
    using BoolReply = std::function<void(bool)>;
    using CountReply = std::function<void(unsigned)>;
    using ObjectReply = std::function<void(GVariant*)>;
    using ActionHandler = std::function<void(const std::string& action, const std::string& identifier)>;

    static constexpr int kReplyTimeoutMs = 10000;

    static KTServiceManager& sharedManager();
    static std::unique_ptr<KTServiceManager> create();
    KTServiceManager();
    ~KTServiceManager();
    KTServiceManager(const KTServiceManager&) = delete;
    KTServiceManager& operator=(const KTServiceManager&) = delete;

    // Starts reaching the bus and making the proxy, if not under way already.
    void connect();
    // Drops the proxy and the call-back; replies still under way are dropped.
    void disconnect();

    // The reply is only logged ("Notification posted").
    void postNotification(const KTNotificationInfo& info);
    void credentialsSavedForWithReply(const std::string& url, CredentialsReply reply);
    void passwordForSavedForWithReply(const std::string& username, const std::string& url, PasswordReply reply);
    void updateCredentialsForUsernameSavedForWithReply(const std::string& password, const std::string& username,
                                                       const std::string& url, BoolReply reply);
    void saveCredentialsUsernameForURLWithReply(const std::string& password, const std::string& username,
                                                const std::string& url, BoolReply reply);
    // The logins of an app's sites, without passwords (passwordFor reveals
    // one); the removal of one login, or of every login of those sites
    // (the reply: how many went).
    void loginsSavedForWithReply(const std::vector<std::string>& urls, CredentialsReply reply);
    void removeCredentialsForUsernameSavedForWithReply(const std::string& username, const std::string& url,
                                                       BoolReply reply);
    void removeAllCredentialsSavedForWithReply(const std::vector<std::string>& urls, CountReply reply);
    // Sent although the helper does not declare it; its answer (an error
    // today) means the block is not called.
    void allSavedCredentialsWithReply(ObjectReply reply);

    // The helper's call-back: hands action and identifier to the handler
    // once the main loop next runs.
    void notificationActionIdentifier(const std::string& action, const std::string& identifier);
    // What a click does; the app installs "bring the app to the front".
    void setNotificationActionHandler(ActionHandler handler) { actionHandler_ = std::move(handler); }

    // The name and icon the desktop shows with a notification. Defaults:
    // the bundle's CFBundleName and its identifier (the icon name under
    // which quilt-create installs the app's icon).
    void setApplicationIdentity(std::string name, std::string icon);

private:
    const std::thread::id mainThread_ = std::this_thread::get_id();
    struct Call;
    using Request = std::function<void(QuiltBusQuiltHelperProtocol*, GCancellable*)>;

    void send(Request request);
    void busReady(GDBusConnection* connection);
    void proxyReady(QuiltBusQuiltHelperProtocol* proxy);
    void failPending();
    void exportCallback(GDBusConnection* connection);
    void ownerChanged();
    bool succeeded(GError* error);
    void helperVanished();
    void helperUnreachable();
    void applicationIdentity(std::string& name, std::string& icon);

    static void onBus(GObject*, GAsyncResult*, gpointer);
    static void onProxy(GObject*, GAsyncResult*, gpointer);
    static gboolean onAction(QuiltBusQuiltInterfaceProtocol*, GDBusMethodInvocation*, const char*, const char*,
                             gpointer);

    int timeoutMs_;
    GRef<GCancellable> cancellable_;
    GRef<QuiltBusQuiltHelperProtocol> proxy_;
    GRef<QuiltBusQuiltInterfaceProtocol> callback_;
    KTSignal ownerSignal_, actionSignal_;
    bool connecting_ = false;
    bool helperPresent_ = false;
    bool unreachableLogged_ = false;
    std::vector<Request> pending_;
    ActionHandler actionHandler_;
    std::optional<std::pair<std::string, std::string>> identity_;
};

} // namespace quilt
