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
    // "OK"); done(true) for "OK". With offerSilence the question also offers
    // to keep the page from showing more dialogs; silence tells whether that
    // was chosen.
    virtual void runScriptAlert(GtkWindow* parent, const std::string& message, bool confirm, bool offerSilence,
                                std::function<void(bool ok, bool silence)> done);
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

    // The menu of saved logins under a page's field, its top-left corner at
    // (x, y) on the screen: one row per user name, none selected. Asked
    // again while shown, it takes the new rows and place. chosen(row) when
    // a row is clicked or chosen with Return; hiding is the caller's. The
    // neutral delegate shows nothing.
    virtual void showAutoFillMenu(GtkWindow* /*parent*/, int /*x*/, int /*y*/,
                                  const std::vector<std::string>& /*users*/,
                                  std::function<void(size_t row)> /*chosen*/)
    {
    }
    virtual void hideAutoFillMenu() {}
    virtual bool isAutoFillMenuVisible() const { return false; }
    // A key typed in the page's field: -1 up, 1 down, 13 chooses the
    // selected row, 27 hides, others nothing. The selected row afterwards,
    // -1 for none.
    virtual int autoFillMenuKey(int /*key*/) { return -1; }
    // "Would you like to save this password?"; done(true) on "Save Password".
    virtual void askToSavePassword(GtkWindow* parent, std::function<void(bool save)> done);
    // The question to update the password saved for user on host; done(true)
    // on "Update Password".
    virtual void askToUpdatePassword(GtkWindow* parent, const std::string& user, const std::string& host,
                                     std::function<void(bool update)> done);
};

} // namespace quilt
