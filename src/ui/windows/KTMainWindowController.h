#pragma once

#include "ui/menubar/KTMenuBar.h"
#include "ui/windows/KTDownloadsView.h"
#include "ui/windows/KTMainWindow.h"
#include "ui/windows/KTMainWindowsDelegate.h"
#include "ui/windows/KTTabViewController.h"
#include "ui/windows/KTURLBarField.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace quilt {

// Runs one main window: applies the look settings when it loads, owns the
// toolbar (navigation buttons, address entry, new tab, toolbar switch),
// connects the address entry to the tabs, decides what closing means, and
// keeps the window colour in step with the page when asked to.
class KTMainWindowController : public KTTabViewControllerDelegate {
public:
    // Makes a window (with a page handed in as its first tab) and adds it to
    // the main window list, which owns it.
    static KTMainWindowController* create(std::unique_ptr<KTWebViewController> first = nullptr);
    // The open windows in order of creation.
    static const std::vector<std::unique_ptr<KTMainWindowController>>& mainWindows();
    static KTMainWindowController* forWindow(GtkWindow* window);
    // The front-most window: the one most recently focused, else the last made.
    static KTMainWindowController* front();

    // Set by the application; tests may install their own delegate or none.
    static void setApplication(GtkApplication* app);
    static void setWindowsDelegate(KTMainWindowsDelegate* delegate);
    static KTMainWindowsDelegate* windowsDelegate();

    ~KTMainWindowController() override;
    KTMainWindowController(const KTMainWindowController&) = delete;
    KTMainWindowController& operator=(const KTMainWindowController&) = delete;

    KTMainWindow& window() { return *window_; }
    KTTabViewController* tabController() const { return tabController_.get(); }
    KTURLBarField& urlTextField() { return *urlField_; }
    KTDownloadsView* downloadsView() const { return downloads_.get(); }
    KTMenuBar* menuBar() const { return menuBar_.get(); }
    bool toolbarShown() const { return toolbarShown_; }
    std::string titleText() const { return window_->title(); }

    void showWindow();
    void updateWindowTitlebar();
    void updateWindowColor();
    void hidePreferences(bool hide);
    void openUrl(const std::string& text);
    // Return in the address field: an address shortcut's URL, or the text
    // (completed to an address or a search by the page).
    void openTypedText(const std::string& text);
    void toggleToolbar();
    // The close button's question: `decided` gets true when the window may
    // go, at once or once the user has answered. It does not run when the
    // window is gone by then, nor for a second call while the question is up.
    void windowShouldClose(std::function<void(bool)> decided);
    // Closes the window through the same rules as its close button.
    void close();

    // KTTabViewControllerDelegate
    void needChangeUrl(const std::string& url) override;
    void changeSecureStatus(bool secure) override;
    void changeLoadStatus(bool loading) override;
    void editUrl() override;
    void newTabWasCreated() override;
    KTMainWindowController* needCreateWindowForController(std::unique_ptr<KTWebViewController> page) override;
    void setToolbarShown(bool shown) override;
    void closeLastTab() override;
    void tabWasSelected() override;

private:
    explicit KTMainWindowController(std::unique_ptr<KTWebViewController> first);
    void windowDidLoad();
    void buildToolbar();
    // The URL an address shortcut gives for typed text; none by default.
    std::optional<std::string> addressShortcutFor(const std::string& text) const;
    void focusPage();
    // Where a window goes before anything else places it: the creation
    // tool's size, centred, or the screen's work area.
    void applyDefaultFrame();
    void applyWindowColor(const KTColor& color);
    // Reads the selected page's colour from the view as last painted.
    void sampleWindowColor();
    static void releaseLater(KTMainWindowController* controller);
    // The window is going: its pages stop reporting and let go of their sites.
    void willClose();

    std::unique_ptr<KTMainWindow> window_;
    std::unique_ptr<KTTabViewController> tabController_;
    std::unique_ptr<KTURLBarField> urlField_;
    GtkWidget* titleIcon_ = nullptr;
    std::vector<GtkWidget*> toolbarItems_;
    GtkWidget* toolbarButton_ = nullptr;
    std::unique_ptr<KTDownloadsView> downloads_;
    std::unique_ptr<KTMenuBar> menuBar_;
    bool toolbarShown_ = false;
    bool askingToClose_ = false;
    std::vector<KTObservation> observations_;
    std::vector<KTSignal> signals_;
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
    // The selected page's next paint, and the moment after it on screen,
    // while its colour is wanted.
    KTSignal colorPaint_;
    KTSource colorIdle_;
};

} // namespace quilt
