#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

typedef struct _GtkWindow GtkWindow;

namespace quilt {

// A user name and password typed into the login of a page.
struct KTLogin {
    std::string user;
    std::string password;
};

// How the web layer asks the UI layer for everything a person must see
// (questions, file choosers, the downloads toolbar) without building a
// window itself. Every answer comes back through its callback, from the
// main loop after the call has returned (never inside the engine's signal
// that asked). The neutral delegate declines on the next turn of the loop,
// so a page never waits on a question nobody can see. A question closed
// without an answer (its window went) never calls back. `parent` is the
// page's window, null when it has none.
class KTWebUIDelegate {
public:
    // Closes a question still open without answering it (the page gave up
    // while it was shown). Harmless once the question is answered.
    using Dismiss = std::function<void()>;

    virtual ~KTWebUIDelegate() = default;

    static KTWebUIDelegate& shared();
    // Not owned; pass nullptr to restore the neutral delegate.
    static void setShared(KTWebUIDelegate* delegate);

    // The page's alert (confirm false: "OK" only) or confirm ("Cancel",
    // "OK"); done(true) for "OK".
    virtual void runScriptAlert(GtkWindow* parent, const std::string& message, bool confirm,
                                std::function<void(bool ok)> done);
    // Files to upload; done({}) when cancelled.
    virtual void chooseUploadFiles(GtkWindow* parent, bool multiple,
                                   std::function<void(std::vector<std::string> files)> done);
    // The HTTP Basic login for host, the user name filled in when known;
    // done(nullopt) on "Cancel".
    virtual Dismiss askForLogin(GtkWindow* parent, const std::string& host, const std::string& proposedUser,
                                std::function<void(std::optional<KTLogin>)> done);
    // "Open %@?" for another application of the desktop; done(true) on "Open".
    virtual void askToOpenApp(GtkWindow* parent, const std::string& appName, std::function<void(bool open)> done);
    // Where to save a download, starting in folder with fileName filled in;
    // done(nullopt) when cancelled.
    virtual void chooseSavePath(GtkWindow* parent, const std::string& folder, const std::string& fileName,
                                std::function<void(std::optional<std::string> path)> done);
    // Shows the toolbar of this window (the front window when null), so the
    // downloads button is in sight.
    virtual void showDownloadsToolbar(GtkWindow* /*window*/) {}
};

} // namespace quilt
