#pragma once

#include "core/config/KTNotificationCenter.h"
#include "core/config/KTRect.h"
#include "core/config/KTShellDelegate.h"
#include "core/config/KTSignal.h"

#include <gtk/gtk.h>

#include <optional>
#include <string>
#include <vector>

namespace quilt {

class KTMainWindowController;

// The application: brings the app up in a fixed order, opens URLs
// handed over by the desktop, answers the commands, and saves the stores on
// the way out. One running instance per app (the bundle identifier is the
// GApplication id), so a second launch hands its URLs to the first.
class AppDelegate : public KTShellDelegate {
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
    // False when the user declined; quitting then does not happen.
    bool applicationShouldTerminate();
    void applicationWillTerminate();
    // Frame of a window for a saved record.
    void restorWindowForKey(KTMainWindowController* controller, const std::optional<std::string>& key);

    void newWindowClick();
    void closeTab();
    void quit(bool ask);
    void hideApplication();
    bool hidden() const { return hidden_; }
    void enableSpellCheckAndGrammar();
    void addUseragents();
    void setCustomAgent(const KTNotification& note);

    // KTShellDelegate
    void setMainWindowColor(const KTColor& color) override;
    void setMainWindowTitle(bool) override;
    void setMainWindowTitleIcon(bool) override;
    void setMainWindowTitleBar(bool hide) override;
    void setHidePreferences(bool hide) override;
    void setDefaultWindowSize(double width, double height) override;
    void setFirstWindowLevel(long level) override;
    void setFirstWindowShadow(bool) override;
    void setFirstWindowAlpha(double alpha) override;
    void setApplicationIcon(GdkPixbuf* image) override;
    void applyCookieAcceptPolicy(unsigned long policy) override;
    KTRect mainScreenFrame() override;

private:
    void onStartup();
    void onActivate();
    void onOpen(GFile** files, int count);
    void launch();
    void installActions();
    void loadApplicationIcon();
    void afterFirstPaint();

    GtkApplication* app_ = nullptr;
    KTRect defaultFrame_;
    bool launched_ = false;
    bool hidden_ = false;
    bool terminating_ = false;
    std::vector<std::string> pendingUrls_;
    std::vector<KTObservation> observations_;
};

} // namespace quilt
