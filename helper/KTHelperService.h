#pragma once

#include "KTDesktopNotifier.h"
#include "KTIdleTimer.h"
#include "core/config/GRef.h"

#include <gio/gio.h>

#include <functional>
#include <memory>
#include <string>

typedef struct _QuiltBusQuiltHelperProtocol QuiltBusQuiltHelperProtocol;

namespace quilt {

class KTLoginSite;

// The helper service: serves org.quilt.QuiltHelperProtocol at
// /org/quilt/Helper under the name org.quilt.Helper and quits after a quiet
// spell (KTIdleTimer). Each handler checks its arguments at the boundary
// (sizes, URLs, records) and answers a refusal with an InvalidArgs error;
// keyring work runs on a worker thread so a slow keyring never stalls the
// notifications.
class KTHelperService {
public:
    // Runs the main loop until idle or until the name is lost; the exit status.
    static int run();

    KTHelperService(GDBusConnection* connection, GMainLoop* loop, unsigned idleSeconds);
    ~KTHelperService();
    KTHelperService(const KTHelperService&) = delete;
    KTHelperService& operator=(const KTHelperService&) = delete;

    bool start();

private:
    using Job = std::function<std::function<void()>()>;

    // Runs `work` on a worker thread and what it returns on the main loop,
    // holding the idle timer meanwhile.
    void inThread(Job work);
    // inThread for a bus call: `work`'s result is answered through
    // reply(object, invocation, result), the skeleton kept until then.
    template <typename Work, typename Reply>
    void replyInThread(QuiltBusQuiltHelperProtocol* object, GDBusMethodInvocation* invocation, Work work,
                       Reply reply);
    void quit();
    void connectHandlers();

    static gboolean onPostNotification(QuiltBusQuiltHelperProtocol*, GDBusMethodInvocation*, GVariant*, const char*,
                                       const char*, gpointer);
    static gboolean onCredentialsSavedFor(QuiltBusQuiltHelperProtocol*, GDBusMethodInvocation*, const char*,
                                          gpointer);
    static gboolean onPasswordFor(QuiltBusQuiltHelperProtocol*, GDBusMethodInvocation*, const char*, const char*,
                                  gpointer);
    static gboolean onUpdateCredentials(QuiltBusQuiltHelperProtocol*, GDBusMethodInvocation*, const char*,
                                        const char*, const char*, gpointer);
    static gboolean onSaveCredentials(QuiltBusQuiltHelperProtocol*, GDBusMethodInvocation*, const char*,
                                      const char*, const char*, gpointer);
    using Store = bool (*)(const std::string& password, const std::string& username, const KTLoginSite&);
    using Complete = void (*)(QuiltBusQuiltHelperProtocol*, GDBusMethodInvocation*, gboolean);
    static gboolean store(QuiltBusQuiltHelperProtocol*, GDBusMethodInvocation*, const char* password,
                          const char* username, const char* url, gpointer, Store, Complete);

    static gboolean onLoginsSavedFor(QuiltBusQuiltHelperProtocol*, GDBusMethodInvocation*, const char* const*,
                                     gpointer);
    static gboolean onRemoveCredentials(QuiltBusQuiltHelperProtocol*, GDBusMethodInvocation*, const char*,
                                        const char*, gpointer);
    static gboolean onRemoveAllCredentials(QuiltBusQuiltHelperProtocol*, GDBusMethodInvocation*, const char* const*,
                                           gpointer);

    GDBusConnection* connection_;
    GMainLoop* loop_;
    KTIdleTimer idle_;
    KTDesktopNotifier notifier_;
    GRef<QuiltBusQuiltHelperProtocol> skeleton_;
    guint nameId_ = 0;
    int status_ = 0;
};

} // namespace quilt
