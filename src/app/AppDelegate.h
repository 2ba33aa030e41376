#pragma once

#include "core/config/KTNotificationCenter.h"
#include "core/config/KTRect.h"
#include "core/config/KTShellDelegate.h"
#include "core/config/KTSignal.h"
#include "ui/windows/KTMainWindowsDelegate.h"

#include <gtk/gtk.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace quilt {

class KTDockMonitor;
class KTLauncherEntry;
class KTMainWindowController;
class KTMenuCommands;
class KTPreferencesWindow;
class KTStatusBarItemView;
class KTStatusItemController;
class KTUnreadWatcher;

// The application: brings the app up in a fixed order, opens URLs
// handed over by the desktop, answers the commands, and saves the stores on
// the way out. One running instance per app (the bundle identifier is the
// GApplication id), so a second launch hands its URLs to the first.
class AppDelegate : public KTShellDelegate, public KTMainWindowsDelegate {
public:
    AppDelegate();
    ~AppDelegate() override;
    AppDelegate(const AppDelegate&) = delete;
    AppDelegate& operator=(const AppDelegate&) = delete;

    static AppDelegate* shared();
    int run(int argc, char** argv);
    GtkApplication* application() const { return app_; }

    KTMainWindowController* getTopMainController() const;
    KTMainWindowController* createNewMainWindow();
    std::string appTargetName() const;

    void applicationWillFinishLaunching();
    void applicationDidFinishLaunching();
    void handleURLEvent(const std::string& url);
    void applicationShouldHandleReopen();
    // `decided` gets false when the user declined (quitting then does not
    // happen); the question is answered without a nested main loop.
    void applicationShouldTerminate(std::function<void(bool)> decided);
    void applicationWillTerminate();
    // Frame of a window for a saved record.
    void restorWindowForKey(KTMainWindowController* controller, const std::optional<std::string>& key);

    // The one preferences window, made on demand, at a pane when named.
    void showPreferences(const std::string& pane = {});
    KTPreferencesWindow* preferencesWindow() const { return preferences_.get(); }
    // Menu-bar mode: the behaviour flag; entering it (false, said in the
    // log, when no tray can show the item: the app stays in its windows);
    // leaving it saves the flag and relaunches the app.
    bool statusBarMode() const;
    bool showAsStatusItem();
    void switchToNormalMode();
    // The tray item while in menu-bar mode, else null (its badge).
    KTStatusBarItemView* statusItemView() const;
    KTStatusItemController* statusItem() const { return statusItem_.get(); }

    void newWindowClick();
    void closeTab();
    void quit(bool ask);
    void hideApplication() override;
    void windowDidOpen(KTMainWindowController* controller) override;
    bool hidden() const { return hidden_; }
    void enableSpellCheckAndGrammar();
    void addUseragents();
    void setCustomAgent(const KTNotification& note);

    // KTShellDelegate
    void setMainWindowColor(const KTColor& color) override;
    void setMainWindowTitle(bool) override;
    void setMainWindowTitleIcon(bool) override;
    void setMainWindowTitleBar(bool hide) override;
    void setStausBarOption(bool show) override;
    void setHidePreferences(bool hide) override;
    void setUserScriptStyleOption(bool show) override;
    void setMobileDesktopOption(bool show) override;
    void setBookmark(bool hide) override;
    void registerGlobalShortcut(const std::string& accelerator) override;
    void setDefaultWindowSize(double width, double height) override;
    void setFirstWindowLevel(long level) override;
    void setFirstWindowShadow(bool) override;
    void setFirstWindowAlpha(double alpha) override;
    void setApplicationIcon(GdkPixbuf* image) override;
    void applyCookieAcceptPolicy(unsigned long policy) override;
    KTRect mainScreenFrame() override;

    // KTMainWindowsDelegate
    GMenuModel* primaryMenu() override;
    void menuWillOpen() override;
    void menuDidClose() override;
    KTMenuCommands* commands() const { return commands_.get(); }
    KTDockMonitor& dockMonitor();

private:
    void onStartup();
    void onActivate();
    void onOpen(GFile** files, int count);
    void launch();
    void installActions();
    void loadApplicationIcon();
    void afterFirstPaint();
    // Brings a window's tabs forward: the popup for the one it hosts.
    void showController(KTMainWindowController* controller);

    GtkApplication* app_ = nullptr;
    std::unique_ptr<KTMenuCommands> commands_;
    std::unique_ptr<KTPreferencesWindow> preferences_;
    // "--preferences[=<pane>]": the window opens with the app's first window.
    std::optional<std::string> preferencesAtLaunch_;
    std::unique_ptr<KTStatusItemController> statusItem_;
    std::unique_ptr<KTUnreadWatcher> unreadWatcher_;
    std::unique_ptr<KTLauncherEntry> launcherEntry_;
    std::unique_ptr<KTDockMonitor> dockMonitor_;
    // X time of the last global hot key press, to raise the window with.
    uint32_t hotKeyTime_ = 0;
    KTRect defaultFrame_;
    bool launched_ = false;
    bool hidden_ = false;
    bool terminating_ = false;
    bool askingToQuit_ = false;
    std::vector<std::string> pendingUrls_;
    std::vector<KTObservation> observations_;
};

} // namespace quilt
