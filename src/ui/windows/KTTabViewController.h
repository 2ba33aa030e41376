#pragma once

#include "core/config/KTNotificationCenter.h"
#include "core/config/KTSignal.h"
#include "core/windows/KTTabDiscardPolicy.h"
#include "core/windows/KTTabModel.h"
#include "core/windows/KTTabProcessPlan.h"
#include "web/KTWebViewController.h"

#include <gtk/gtk.h>

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace quilt {

class KTMainWindowController;

// How a window's tabs report to the window.
class KTTabViewControllerDelegate {
public:
    virtual ~KTTabViewControllerDelegate() = default;
    virtual void needChangeUrl(const std::string& /*url*/) {}
    virtual void changeSecureStatus(bool) {}
    virtual void changeLoadStatus(bool) {}
    virtual void editUrl() {}
    virtual void newTabWasCreated() {}
    // A page asked for a window; returns the new window's controller.
    virtual KTMainWindowController* needCreateWindowForController(std::unique_ptr<KTWebViewController>)
    {
        return nullptr;
    }
    virtual void setToolbarShown(bool) {}
    // The last tab asked to close (window.close(), a link that left the site).
    virtual void closeLastTab() {}
    // Another tab is shown (switched to, or the shown one closed).
    virtual void tabWasSelected() {}
};

// The tabs of one window on a GtkNotebook: creation in its four ways, the
// recently-selected order, the tab strip (hidden with one tab), commands
// that arrive by name and act on the selected page, and restoration. The
// tab model holds the order and the selection: commands change it and the
// notebook is then brought in line; clicks and drags in the strip feed back
// into it.
class KTTabViewController : public KTWebViewControllerDelegate {
public:
    // Builds the widgets and the first tab; a page handed in becomes tab 0.
    explicit KTTabViewController(std::unique_ptr<KTWebViewController> first = nullptr);
    // A tab's width in a strip this wide: 100 px while they fit, shrinking to
    // 30 px as they crowd; past that the strip scrolls.
    static int tabWidthFor(int stripWidth, size_t count);
    ~KTTabViewController() override;
    KTTabViewController(const KTTabViewController&) = delete;
    KTTabViewController& operator=(const KTTabViewController&) = delete;

    GtkWidget* view() const { return root_; }
    KTTabViewControllerDelegate* delegate = nullptr;

    size_t tabsCount() const { return model_.count(); }
    const KTTabModel& model() const { return model_; }
    // The tab strip's height: 0 with one tab, 26 after updateTabBar with
    // more, 22 right after restoring several URLs.
    int tabbarHeight() const { return tabbarHeight_; }
    KTWebViewController* selectedWebViewController() const;
    KTWebViewController* pageAt(size_t index) const;
    void selectTabAt(size_t index);
    // Next (+1) or previous (-1) tab, wrapping around.
    void selectRelative(int step);

    void setFirstWebViewController(std::unique_ptr<KTWebViewController> page);
    void createTabForController(std::unique_ptr<KTWebViewController> page);
    // The tab strip's add button: a new empty tab, selected, for typing.
    void addNewTabToTabView();
    // The "New tab" command: the same with the toolbar and the strip shown.
    void addNewTab();
    void openLinkInNewTab(const std::string& url);
    void removeCurrentTab();
    void removeTab(KTWebViewController* page);
    void updateTabBar();
    bool restoreUrls(const std::vector<std::string>& urls);
    std::vector<std::string> getOpenedUrls() const;

    void goBack();
    void goForward();
    void goHome();
    void openUrl(const std::string& text);
    void refresh();
    void stop();
    void printpage();
    void zoomin();
    void zoomout();
    void resetzoom();
    void showToolbar();
    void hideToolbar();
    void showBookmarkNotification();
    void openBookmark(const std::string& name);
    void releaseAllWebViews();
    // Gives a background tab's page back now (the shown tab is kept); it
    // loads again when selected. Long-unused background tabs go this way by
    // themselves (KTTabDiscardPolicy).
    void discardTabAt(size_t index);
    const KTTabProcessPlan& processPlan() const { return processes_; }

    // KTWebViewControllerDelegate
    void newWebViewConstroller(std::unique_ptr<KTWebViewController> controller) override;
    void webViewDidBeignLoadUrl(WebKitWebView* view, const std::string& url) override;
    void webViewDidEndLoadUrl(WebKitWebView* view, const std::string& url) override;
    void webViewDidChangeLoadStatus(WebKitWebView* view, bool loading) override;
    void closeTabForController(KTWebViewController* page) override;

private:
    class TabLabel;
    struct Tab {
        KTTabModel::Id id;
        std::unique_ptr<KTWebViewController> page;
        std::unique_ptr<TabLabel> label;
        double lastShown = 0; // monotonic seconds
    };

    // Adds a tab to the model (the first one selected); the notebook gets
    // its page at the next syncNotebook.
    // `planned`: a page of newPage(), placed in the process plan.
    Tab& appendTab(std::unique_ptr<KTWebViewController> page, const std::string& label, bool planned = false);
    std::unique_ptr<KTWebViewController> newPage();
    void closeTab(KTTabModel::Id id);
    Tab* tabForId(KTTabModel::Id id);
    Tab* tabForPage(const KTWebViewController* page);
    Tab* tabForWidget(GtkWidget* widget);
    const Tab* selectedTab() const;

    // The notebook follows the model: pages in model order, the selected
    // one current, pages of closed tabs gone.
    void syncNotebook();
    // Every tab's width for the strip's width now; `force` also when unchanged
    // (new labels start at the widest).
    void fitTabWidths(bool force = false);
    gint notebookIndexOf(const Tab& tab) const;
    GtkWidget* currentNotebookPage() const;
    void showSelectedPage();
    // The user switched or dragged a tab in the strip.
    void onSwitchPage(GtkWidget* child);
    void onPageReordered(GtkWidget* child, guint index);
    // The shown page changed: focus and the window's address and status.
    void didSelect(const Tab& tab);
    void setTabbarHeight(int height);
    void setToolbarShown(bool shown);
    // Commands act on the selected page, and on nothing when there is none.
    template <class F>
    void withSelected(F&& f)
    {
        if (KTWebViewController* p = selectedWebViewController())
            f(*p);
    }
    void rebuildBookmarkBar();
    void observe();
    // One timer for the next background tab that may be discarded, none
    // when no tab can be.
    void armDiscardTimer();
    void discardDueTabs();
    std::vector<KTTabDiscardPolicy::Tab> discardStates() const;

    GtkWidget* root_ = nullptr;
    GtkWidget* notebook_ = nullptr;
    GtkWidget* bookmarkBar_ = nullptr;
    int tabbarHeight_ = 0;
    KTTabModel model_;
    KTTabProcessPlan processes_{KTTabProcessPlan::tabsPerProcessFromEnvironment(g_getenv("QUILT_TABS_PER_PROCESS"))};
    KTTabDiscardPolicy discardPolicy_;
    KTSource discardTimer_;
    KTSource trimTimer_;
    std::optional<KTTabModel::Id> shown_;
    // The pages by tab id; the order is the model's.
    std::map<KTTabModel::Id, Tab> tabs_;
    bool syncing_ = false;
    int tabWidth_ = 0;
    guint fitIdle_ = 0;
    std::vector<KTSignal> signals_;
    std::vector<KTObservation> observations_;
    bool tearingDown_ = false;
    std::shared_ptr<bool> aliveToken_ = std::make_shared<bool>(true);
};

} // namespace quilt
