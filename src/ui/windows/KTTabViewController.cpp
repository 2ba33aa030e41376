#include "ui/windows/KTTabViewController.h"

#include "core/config/KTBehaviorManager.h"
#include "core/config/KTBookmarksManager.h"
#include "core/config/KTNotificationNames.h"
#include "core/config/KTRestoreManager.h"
#include "core/config/KTSettingsManager.h"
#include "core/config/KTUserDefaults.h"
#include "web/KTPageHooks.h"

#include <malloc.h>

#include <algorithm>
#include <utility>

namespace quilt {

namespace {
// Flat, square tabs with faint grey fills: a resting tab is black at 5 %, a
// hovered one at 15 %, the selected one unfilled; thin dividers between.
constexpr const char* kTabStyle = R"css(
notebook.quilt-tabs > header { background: transparent; border: none; box-shadow: none; padding: 0; margin: 0; }
notebook.quilt-tabs > header tabs { margin: 0; }
notebook.quilt-tabs > header tab {
    border-radius: 0; margin: 0; padding: 0 4px; border: none; outline: none;
    background: rgba(0, 0, 0, 0.05); box-shadow: inset -1px 0 rgba(0, 0, 0, 0.15); min-height: 0;
}
notebook.quilt-tabs > header tab:hover { background: rgba(0, 0, 0, 0.15); }
notebook.quilt-tabs > header tab:checked { background: transparent; }
notebook.quilt-tabs > header tab button { min-height: 16px; min-width: 16px; padding: 0; margin: 0; }
notebook.quilt-tabs > header > button { min-height: 16px; padding: 0 4px; border-radius: 0; }
notebook.quilt-tabs.quilt-tabbar-22 > header tab { min-height: 22px; }
notebook.quilt-tabs.quilt-tabbar-26 > header tab { min-height: 26px; }
)css";

// A tab's width when there is room; crowded tabs shrink toward the minimum,
// and only past that does the strip scroll.
constexpr int kTabWidth = 100;
constexpr int kTabMinWidth = 30;
constexpr int kTabPadding = 8;
// The strip's "+" and scroll arrows.
constexpr int kStripReserve = 60;

void installTabStyle()
{
    static GtkCssProvider* style = nullptr;
    if (style || !gdk_screen_get_default())
        return;
    style = gtk_css_provider_new();
    gtk_css_provider_load_from_data(style, kTabStyle, -1, nullptr);
    gtk_style_context_add_provider_for_screen(gdk_screen_get_default(), GTK_STYLE_PROVIDER(style),
                                              GTK_STYLE_PROVIDER_PRIORITY_APPLICATION);
}
} // namespace

// A tab's label: favicon, title and close button.
class KTTabViewController::TabLabel : public KTTabItem {
public:
    TabLabel(KTTabViewController* owner, KTTabModel::Id id, const std::string& text)
        : owner_(owner)
        , id_(id)
    {
        box_ = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 4);
        g_object_ref_sink(box_);
        icon_ = gtk_image_new_from_icon_name("text-html-symbolic", GTK_ICON_SIZE_MENU);
        label_ = gtk_label_new(text.c_str());
        gtk_label_set_ellipsize(GTK_LABEL(label_), PANGO_ELLIPSIZE_END);
        // The box sets the tab's width; the title fills what the icon and
        // the close button leave. An expanding label would stretch the tab.
        gtk_label_set_width_chars(GTK_LABEL(label_), 1);
        gtk_label_set_max_width_chars(GTK_LABEL(label_), 1);
        gtk_label_set_xalign(GTK_LABEL(label_), 0);
        setWidth(kTabWidth);
        GtkWidget* close = gtk_button_new_from_icon_name("window-close-symbolic", GTK_ICON_SIZE_MENU);
        gtk_button_set_relief(GTK_BUTTON(close), GTK_RELIEF_NONE);
        gtk_widget_set_focus_on_click(close, FALSE);
        gtk_widget_set_tooltip_text(close, "Close Tab");
        g_signal_connect(close, "clicked", G_CALLBACK(+[](GtkButton*, TabLabel* self) {
                             self->owner_->closeTab(self->id_);
                         }),
                         this);
        gtk_box_pack_start(GTK_BOX(box_), icon_, FALSE, FALSE, 0);
        gtk_box_pack_start(GTK_BOX(box_), label_, TRUE, TRUE, 0);
        gtk_box_pack_end(GTK_BOX(box_), close, FALSE, FALSE, 0);
        gtk_widget_show_all(box_);
    }
    ~TabLabel() override
    {
        gtk_widget_destroy(box_);
        g_object_unref(box_);
    }
    GtkWidget* widget() const { return box_; }
    void setWidth(int width)
    {
        gtk_widget_set_size_request(box_, width - kTabPadding, -1);
        // Too narrow for a title: the favicon stands for the tab.
        gtk_widget_set_visible(label_, width >= 60);
    }

    void setLabel(const std::string& text) override
    {
        gtk_label_set_text(GTK_LABEL(label_), text.c_str());
        gtk_widget_set_tooltip_text(box_, text.c_str());
    }
    std::string label() const override { return gtk_label_get_text(GTK_LABEL(label_)); }
    void setIcon(cairo_surface_t* favicon) override
    {
        if (!favicon) {
            gtk_image_set_from_icon_name(GTK_IMAGE(icon_), "text-html-symbolic", GTK_ICON_SIZE_MENU);
            return;
        }
        int w = cairo_image_surface_get_width(favicon), h = cairo_image_surface_get_height(favicon);
        GdkPixbuf* pix = gdk_pixbuf_get_from_surface(favicon, 0, 0, w, h);
        if (!pix)
            return;
        GdkPixbuf* small = gdk_pixbuf_scale_simple(pix, 16, 16, GDK_INTERP_BILINEAR);
        gtk_image_set_from_pixbuf(GTK_IMAGE(icon_), small);
        g_object_unref(small);
        g_object_unref(pix);
    }

private:
    KTTabViewController* owner_;
    KTTabModel::Id id_;
    GtkWidget* box_;
    GtkWidget* icon_;
    GtkWidget* label_;
};

KTTabViewController::KTTabViewController(std::unique_ptr<KTWebViewController> first)
{
    root_ = gtk_box_new(GTK_ORIENTATION_VERTICAL, 0);
    g_object_ref_sink(root_);
    bookmarkBar_ = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 8);
    gtk_style_context_add_class(gtk_widget_get_style_context(bookmarkBar_), "quilt-bookmarks");
    gtk_widget_set_size_request(bookmarkBar_, -1, 22);
    gtk_widget_set_no_show_all(bookmarkBar_, TRUE);
    notebook_ = gtk_notebook_new();
    gtk_notebook_set_scrollable(GTK_NOTEBOOK(notebook_), TRUE);
    gtk_notebook_set_show_border(GTK_NOTEBOOK(notebook_), FALSE);
    gtk_notebook_set_show_tabs(GTK_NOTEBOOK(notebook_), FALSE);
    gtk_style_context_add_class(gtk_widget_get_style_context(notebook_), "quilt-tabs");
    installTabStyle();

    GtkWidget* add = gtk_button_new_from_icon_name("list-add-symbolic", GTK_ICON_SIZE_MENU);
    gtk_button_set_relief(GTK_BUTTON(add), GTK_RELIEF_NONE);
    gtk_widget_set_tooltip_text(add, "New Tab");
    g_signal_connect(add, "clicked", G_CALLBACK(+[](GtkButton*, KTTabViewController* self) {
                         // The tab strip's own add button: a new tab, selected.
                         self->addNewTabToTabView();
                     }),
                     this);
    gtk_widget_show(add);
    gtk_notebook_set_action_widget(GTK_NOTEBOOK(notebook_), add, GTK_PACK_END);

    gtk_box_pack_start(GTK_BOX(root_), bookmarkBar_, FALSE, FALSE, 0);
    gtk_box_pack_start(GTK_BOX(root_), notebook_, TRUE, TRUE, 0);
    gtk_widget_show(notebook_);
    gtk_widget_show(root_);

    signals_.emplace_back(notebook_, "switch-page",
                          G_CALLBACK(+[](GtkNotebook*, GtkWidget* child, guint, KTTabViewController* self) {
                              self->onSwitchPage(child);
                          }),
                          this, G_CONNECT_AFTER);
    signals_.emplace_back(notebook_, "size-allocate",
                          G_CALLBACK(+[](GtkWidget*, GdkRectangle*, KTTabViewController* self) {
                              // Sizes change after this allocation, not inside it.
                              if (!self->fitIdle_)
                                  self->fitIdle_ = g_idle_add(+[](gpointer data) -> gboolean {
                                      auto* me = static_cast<KTTabViewController*>(data);
                                      me->fitIdle_ = 0;
                                      me->fitTabWidths();
                                      return G_SOURCE_REMOVE;
                                  }, self);
                          }),
                          this);
    signals_.emplace_back(notebook_, "page-reordered",
                          G_CALLBACK(+[](GtkNotebook*, GtkWidget* child, guint index, KTTabViewController* self) {
                              self->onPageReordered(child, index);
                          }),
                          this);

    setTabbarHeight(0);
    observe();
    if (first) {
        setFirstWebViewController(std::move(first));
    } else {
        appendTab(newPage(), "New tab", true);
        syncNotebook();
    }
    showBookmarkNotification();
}

KTTabViewController::~KTTabViewController()
{
    tearingDown_ = true;
    if (fitIdle_)
        g_source_remove(fitIdle_);
    observations_.clear();
    signals_.clear();
    // The notebook lets go of the pages first; then the pages go.
    while (gtk_notebook_get_n_pages(GTK_NOTEBOOK(notebook_)) > 0)
        gtk_notebook_remove_page(GTK_NOTEBOOK(notebook_), -1);
    tabs_.clear();
    gtk_widget_destroy(root_);
    g_object_unref(root_);
}

void KTTabViewController::observe()
{
    auto on = [this](const char* name, void (KTTabViewController::*fn)()) {
        observations_.emplace_back(name, [this, fn](const KTNotification&) { (this->*fn)(); });
    };
    on(names::kReload, &KTTabViewController::refresh);
    on(names::kStop, &KTTabViewController::stop);
    on(names::kPrintPage, &KTTabViewController::printpage);
    on(names::kZoomIn, &KTTabViewController::zoomin);
    on(names::kZoomOut, &KTTabViewController::zoomout);
    on(names::kResetZoom, &KTTabViewController::resetzoom);
    // These three print the page rather than answer a zoom question; that
    // is the required behaviour, kept as it is.
    on(names::kCanZoomIn, &KTTabViewController::printpage);
    on(names::kCanResetZoom, &KTTabViewController::printpage);
    on(names::kCanZoomOut, &KTTabViewController::printpage);
    on(names::kNewTab, &KTTabViewController::addNewTab);
    observations_.emplace_back(names::kOpenLinkInNewTab, [this](const KTNotification& n) {
        if (auto url = json::stringFor(n.userInfo, "url"))
            openLinkInNewTab(*url);
    });
    on(names::kShowBookmark, &KTTabViewController::showBookmarkNotification);
    observations_.emplace_back(names::kNeedCloseWebView, [this](const KTNotification& n) {
        auto& restore = KTRestoreManager::sharedManager();
        restore.clear();
        restore.addUrlsForKey(getOpenedUrls(), "window0");
        GtkAllocation a;
        gtk_widget_get_allocation(root_, &a);
        restore.setWindowFrameStringForKey(KTRect{double(a.x), double(a.y), double(a.width), double(a.height)}.toString(),
                                           "window0");
        restore.save();
        auto* view = std::any_cast<WebKitWebView*>(&n.object);
        if (!view || !KTBehaviorManager::sharedManager().closeApplication())
            return;
        for (auto& [id, t] : tabs_)
            if (t.page->webview() == *view) {
                closeTab(id);
                break;
            }
    });
}

std::unique_ptr<KTWebViewController> KTTabViewController::newPage()
{
    // The tab is placed when appendTab gives it its id; nothing changes the
    // plan in between, so that answer is this one.
    std::optional<KTTabModel::Id> peer = processes_.nextPeer();
    auto page = std::make_unique<KTWebViewController>(
        KTWebViewController::InProcessOf{peer ? tabs_.at(*peer).page->webview() : nullptr});

    page->setCustomUserAgent(KTPageHooks::agentForNewTab());
    return page;
}

KTTabViewController::Tab& KTTabViewController::appendTab(std::unique_ptr<KTWebViewController> page,
                                                         const std::string& label, bool planned)
{
    KTTabModel::Id id = model_.add();
    // A page a page opened runs in its opener's process, outside the plan.
    if (planned)
        processes_.join(id);
    page->delegate = this;
    auto tabLabel = std::make_unique<TabLabel>(this, id, label);
    page->item = tabLabel.get();
    Tab& tab = tabs_.emplace(id, Tab{id, std::move(page), std::move(tabLabel), g_get_monotonic_time() / 1e6})
                   .first->second;
    if (model_.count() == 1)
        model_.select(id);
    return tab;
}

void KTTabViewController::setFirstWebViewController(std::unique_ptr<KTWebViewController> page)
{
    if (tabs_.empty()) {
        appendTab(std::move(page), "New tab");
        syncNotebook();
        return;
    }
    // Replace tab 0's page with the one a page opened; the old page lives
    // until the notebook has let go of it.
    Tab& first = tabs_.at(model_.order().front());
    page->delegate = this;
    page->item = first.label.get();
    std::unique_ptr<KTWebViewController> old = std::exchange(first.page, std::move(page));
    old->delegate = nullptr;
    old->item = nullptr;
    model_.select(first.id);
    syncNotebook();
}

KTWebViewController* KTTabViewController::pageAt(size_t index) const
{
    if (index >= model_.count())
        return nullptr;
    return tabs_.at(model_.order()[index]).page.get();
}

void KTTabViewController::selectTabAt(size_t index)
{
    if (index >= model_.count())
        return;
    model_.select(model_.order()[index]);
    syncNotebook();
}

void KTTabViewController::selectRelative(int step)
{
    size_t n = model_.count();
    auto sel = model_.selected();
    if (n < 2 || !sel)
        return;
    long index = static_cast<long>(*model_.indexOf(*sel)) + step;
    selectTabAt(static_cast<size_t>((index % long(n) + long(n)) % long(n)));
}

KTTabViewController::Tab* KTTabViewController::tabForId(KTTabModel::Id id)
{
    auto it = tabs_.find(id);
    return it == tabs_.end() ? nullptr : &it->second;
}

KTTabViewController::Tab* KTTabViewController::tabForPage(const KTWebViewController* page)
{
    for (auto& [id, t] : tabs_)
        if (t.page.get() == page)
            return &t;
    return nullptr;
}

KTTabViewController::Tab* KTTabViewController::tabForWidget(GtkWidget* widget)
{
    for (auto& [id, t] : tabs_)
        if (t.page->view() == widget)
            return &t;
    return nullptr;
}

const KTTabViewController::Tab* KTTabViewController::selectedTab() const
{
    auto sel = model_.selected();
    auto it = sel ? tabs_.find(*sel) : tabs_.end();
    return it == tabs_.end() ? nullptr : &it->second;
}

KTWebViewController* KTTabViewController::selectedWebViewController() const
{
    const Tab* t = selectedTab();
    return t ? t->page.get() : nullptr;
}

gint KTTabViewController::notebookIndexOf(const Tab& tab) const
{
    return gtk_notebook_page_num(GTK_NOTEBOOK(notebook_), tab.page->view());
}

GtkWidget* KTTabViewController::currentNotebookPage() const
{
    GtkNotebook* nb = GTK_NOTEBOOK(notebook_);
    return gtk_notebook_get_nth_page(nb, gtk_notebook_get_current_page(nb));
}

void KTTabViewController::showSelectedPage()
{
    const Tab* sel = selectedTab();
    gint index = sel ? notebookIndexOf(*sel) : -1;
    if (index >= 0)
        gtk_notebook_set_current_page(GTK_NOTEBOOK(notebook_), index);
}

void KTTabViewController::syncNotebook()
{
    GtkNotebook* nb = GTK_NOTEBOOK(notebook_);
    GtkWidget* before = currentNotebookPage();
    // The notebook's own switches on the way are not the user's.
    syncing_ = true;
    // The selected page first, so removing a closed one switches nothing.
    showSelectedPage();
    for (gint i = gtk_notebook_get_n_pages(nb) - 1; i >= 0; --i)
        if (!tabForWidget(gtk_notebook_get_nth_page(nb, i)))
            gtk_notebook_remove_page(nb, i);
    const auto& order = model_.order();
    for (size_t i = 0; i < order.size(); ++i) {
        Tab& t = tabs_.at(order[i]);
        GtkWidget* child = t.page->view();
        if (notebookIndexOf(t) >= 0) {
            gtk_notebook_reorder_child(nb, child, gint(i));
            continue;
        }
        gtk_notebook_insert_page(nb, child, t.label->widget(), gint(i));
        gtk_notebook_set_tab_reorderable(nb, child, TRUE);
        gtk_container_child_set(GTK_CONTAINER(notebook_), child, "tab-expand", FALSE, nullptr);
    }
    showSelectedPage();
    syncing_ = false;
    fitTabWidths(true);
    GtkWidget* after = currentNotebookPage();
    if (after && after != before)
        if (Tab* t = tabForWidget(after))
            didSelect(*t);
}

int KTTabViewController::tabWidthFor(int stripWidth, size_t count)
{
    if (count == 0 || stripWidth <= 0)
        return kTabWidth;
    return std::clamp((stripWidth - kStripReserve) / int(count), kTabMinWidth, kTabWidth);
}

void KTTabViewController::fitTabWidths(bool force)
{
    const int width = tabWidthFor(gtk_widget_get_allocated_width(notebook_), tabs_.size());
    if (width == tabWidth_ && !force)
        return;
    tabWidth_ = width;
    for (auto& [id, tab] : tabs_)
        tab.label->setWidth(width);
}

void KTTabViewController::onSwitchPage(GtkWidget* child)
{
    Tab* t = tabForWidget(child);
    if (!t || syncing_ || tearingDown_)
        return;
    model_.select(t->id);
    didSelect(*t);
}

void KTTabViewController::onPageReordered(GtkWidget* child, guint index)
{
    if (syncing_ || tearingDown_)
        return;
    if (Tab* t = tabForWidget(child))
        model_.move(t->id, index);
}

void KTTabViewController::didSelect(const Tab& tab)
{
    const double now = g_get_monotonic_time() / 1e6;
    if (shown_ && *shown_ != tab.id)
        if (Tab* left = tabForId(*shown_))
            left->lastShown = now;
    shown_ = tab.id;
    if (tab.page->isDiscarded()) {
        std::optional<KTTabModel::Id> peer = processes_.join(tab.id);
        tab.page->restore(peer ? tabs_.at(*peer).page->webview() : nullptr);
    }
    tab.page->loadDeferred();
    armDiscardTimer();
    // Keys go to the page shown: the address field would otherwise keep
    // what it showed of the tab before.
    gtk_widget_grab_focus(GTK_WIDGET(tab.page->webview()));
    if (!delegate)
        return;
    WebKitWebView* v = tab.page->webview();
    delegate->needChangeUrl(tab.page->url());
    delegate->changeLoadStatus(webkit_web_view_is_loading(v));
    delegate->changeSecureStatus(KTPageHooks::hasOnlySecureContent(v));
    delegate->tabWasSelected();
}

void KTTabViewController::setTabbarHeight(int height)
{
    tabbarHeight_ = height;
    gtk_notebook_set_show_tabs(GTK_NOTEBOOK(notebook_), height > 0);
    GtkStyleContext* style = gtk_widget_get_style_context(notebook_);
    gtk_style_context_remove_class(style, "quilt-tabbar-22");
    gtk_style_context_remove_class(style, "quilt-tabbar-26");
    if (height > 0)
        gtk_style_context_add_class(style, ("quilt-tabbar-" + std::to_string(height)).c_str());
}

void KTTabViewController::updateTabBar() { setTabbarHeight(tabs_.size() > 1 ? 26 : 0); }

void KTTabViewController::createTabForController(std::unique_ptr<KTWebViewController> page)
{
    std::string title = page->title();
    Tab& tab = appendTab(std::move(page), title.empty() ? "New tab" : title);
    if (KTSettingsManager::sharedManager().selectNewTab())
        model_.select(tab.id);
    syncNotebook();
    showToolbar();
    updateTabBar();
}

void KTTabViewController::newWebViewConstroller(std::unique_ptr<KTWebViewController> controller)
{
    auto& behavior = KTBehaviorManager::sharedManager();
    if (!behavior.openTabInsteadWindow()) {
        if (delegate)
            delegate->needCreateWindowForController(std::move(controller));
        return;
    }
    auto& settings = KTSettingsManager::sharedManager();
    if (behavior.openOtherAppInBackground()) {
        createTabForController(std::move(controller));
        return;
    }
    // The page's tab is always selected; the setting is written through the
    // store both times, on purpose.
    bool remembered = settings.selectNewTab();
    settings.setSelectNewTab(true);
    createTabForController(std::move(controller));
    settings.setSelectNewTab(remembered);
}

void KTTabViewController::addNewTabToTabView()
{
    model_.select(appendTab(newPage(), "New tab", true).id);
    syncNotebook();
    // A new empty tab is for typing an address.
    if (delegate)
        delegate->newTabWasCreated();
}

void KTTabViewController::addNewTab()
{
    showToolbar();
    addNewTabToTabView();
    updateTabBar();
    if (KTBehaviorManager::sharedManager().openDefaultLinkInNewTab())
        if (auto home = KTSettingsManager::sharedManager().getMainUrl())
            openUrl(*home);
}

void KTTabViewController::openLinkInNewTab(const std::string& url)
{
    addNewTab();
    openUrl(url);
}

void KTTabViewController::closeTab(KTTabModel::Id id)
{
    auto it = tabs_.find(id);
    if (it == tabs_.end())
        return;
    // Keep the page alive until the notebook has let go of its widget.
    Tab closing = std::move(it->second);
    tabs_.erase(it);
    processes_.leave(id);
    closing.page->delegate = nullptr;
    closing.page->item = nullptr;
    model_.close(id, KTSettingsManager::sharedManager().returnToPrior());
    syncNotebook();
    updateTabBar();
    // A closed page frees much of the heap at once: handed back to the
    // system a little after the last close, once per burst of closes.
    trimTimer_ = KTSource(g_timeout_add_seconds(5, +[](gpointer data) -> gboolean {
        static_cast<KTTabViewController*>(data)->trimTimer_.forget();
        malloc_trim(0);
        return G_SOURCE_REMOVE;
    }, this));
}

void KTTabViewController::removeCurrentTab()
{
    if (auto sel = model_.selected())
        closeTab(*sel);
}

void KTTabViewController::removeTab(KTWebViewController* page)
{
    if (Tab* t = tabForPage(page))
        closeTab(t->id);
}

void KTTabViewController::closeTabForController(KTWebViewController* page)
{
    if (tabs_.size() <= 1) {
        if (delegate)
            delegate->closeLastTab();
        return;
    }
    // Deferred: the page asking may be inside one of its own signals.
    Tab* t = tabForPage(page);
    if (!t)
        return;
    KTTabModel::Id id = t->id;
    struct Req {
        KTTabViewController* self;
        KTTabModel::Id id;
        std::weak_ptr<bool> alive;
    };
    g_idle_add(+[](gpointer d) -> gboolean {
        std::unique_ptr<Req> r(static_cast<Req*>(d));
        if (!r->alive.expired())
            r->self->closeTab(r->id);
        return G_SOURCE_REMOVE;
    }, new Req{this, id, aliveToken_});
}

bool KTTabViewController::restoreUrls(const std::vector<std::string>& urls)
{
    if (tabs_.empty())
        return true;
    auto lastPage = [this]() { return pageAt(model_.count() - 1); };
    if (urls.empty()) {
        lastPage()->goHome();
        return true;
    }
    KTWebViewController* page = lastPage();
    if (page->item)
        page->item->setLabel(urls[0]);
    if (urls.size() == 1) {
        page->loadRequest(urls[0]);
        return true;
    }
    setTabbarHeight(22);
    // Only the tab shown at the end loads now, each other one when it is
    // first shown: a thousand saved tabs must not start a thousand pages.
    page->deferRequest(urls[0]);
    KTTabModel::Id last = 0;
    for (size_t i = 1; i < urls.size(); ++i) {
        Tab& t = appendTab(newPage(), urls[i], true);
        t.page->deferRequest(urls[i]);
        last = t.id;
    }
    model_.select(last);
    syncNotebook();
    tabs_.at(last).page->loadDeferred();
    return true;
}

std::vector<std::string> KTTabViewController::getOpenedUrls() const
{
    std::vector<std::string> urls;
    for (KTTabModel::Id id : model_.order()) {
        std::string u = tabs_.at(id).page->url();
        if (!u.empty())
            urls.push_back(u);
    }
    return urls;
}

void KTTabViewController::goBack()
{
    withSelected([](KTWebViewController& p) { webkit_web_view_go_back(p.webview()); });
}

void KTTabViewController::goForward()
{
    withSelected([](KTWebViewController& p) { webkit_web_view_go_forward(p.webview()); });
}

void KTTabViewController::goHome() { withSelected([](KTWebViewController& p) { p.goHome(); }); }
void KTTabViewController::openUrl(const std::string& text) { withSelected([&](KTWebViewController& p) { p.openUrl(text); }); }
void KTTabViewController::refresh() { withSelected([](KTWebViewController& p) { p.refresh(); }); }
void KTTabViewController::stop() { withSelected([](KTWebViewController& p) { p.stop(); }); }
void KTTabViewController::printpage() { withSelected([](KTWebViewController& p) { p.printWebView(); }); }
void KTTabViewController::zoomin() { withSelected([](KTWebViewController& p) { p.zoomIn(); }); }
void KTTabViewController::zoomout() { withSelected([](KTWebViewController& p) { p.zoomOut(); }); }
void KTTabViewController::resetzoom() { withSelected([](KTWebViewController& p) { p.resetZoom(); }); }

void KTTabViewController::showToolbar() { setToolbarShown(true); }

void KTTabViewController::hideToolbar() { setToolbarShown(false); }

void KTTabViewController::setToolbarShown(bool shown)
{
    auto& defaults = KTUserDefaults::standardUserDefaults();
    defaults.setBool("ToolbarVisible", shown);
    defaults.synchronize();
    if (delegate)
        delegate->setToolbarShown(shown);
}

void KTTabViewController::rebuildBookmarkBar()
{
    GList* children = gtk_container_get_children(GTK_CONTAINER(bookmarkBar_));
    for (GList* l = children; l; l = l->next)
        gtk_widget_destroy(GTK_WIDGET(l->data));
    g_list_free(children);
    for (const auto& name : KTBookmarksManager::sharedManager().bookmarks()) {
        GtkWidget* b = gtk_button_new_with_label(name.c_str());
        gtk_button_set_relief(GTK_BUTTON(b), GTK_RELIEF_NONE);
        g_signal_connect(b, "clicked", G_CALLBACK(+[](GtkButton* button, KTTabViewController* self) {
                             self->openBookmark(gtk_button_get_label(button));
                         }),
                         this);
        gtk_box_pack_start(GTK_BOX(bookmarkBar_), b, FALSE, FALSE, 0);
        gtk_widget_show(b);
    }
}

void KTTabViewController::showBookmarkNotification()
{
    bool show = KTSettingsManager::sharedManager().showBookmarkBar();
    if (show) {
        rebuildBookmarkBar();
        gtk_widget_show(bookmarkBar_);
    } else {
        gtk_widget_hide(bookmarkBar_);
    }
}

void KTTabViewController::openBookmark(const std::string& name)
{
    if (auto url = KTBookmarksManager::sharedManager().getUrlByName(name))
        openUrl(*url);
}

void KTTabViewController::discardTabAt(size_t index)
{
    if (index >= model_.count() || model_.order()[index] == model_.selected())
        return;
    KTTabModel::Id id = model_.order()[index];
    tabs_.at(id).page->discard();
    processes_.leave(id);
}

std::vector<KTTabDiscardPolicy::Tab> KTTabViewController::discardStates() const
{
    std::vector<KTTabDiscardPolicy::Tab> states;
    for (const auto& [id, t] : tabs_) {
        const KTWebViewController& p = *t.page;
        // A page with a refresh timer is meant to stay live.
        bool busy = p.isLoading() || webkit_web_view_is_playing_audio(p.webview()) || p.hasRefreshTimer() || p.feedsBadge();
        states.push_back({id, t.lastShown, model_.selected() == id, busy, !p.holdsPage()});
    }
    return states;
}

void KTTabViewController::armDiscardTimer()
{
    discardTimer_.reset();
    std::optional<double> wait = discardPolicy_.nextCheck(discardStates(), g_get_monotonic_time() / 1e6);
    if (!wait)
        return;
    // In whole seconds, so the wake-up may be merged with others.
    discardTimer_ = KTSource(g_timeout_add_seconds(guint(*wait) + 1, +[](gpointer data) -> gboolean {
        auto* self = static_cast<KTTabViewController*>(data);
        self->discardTimer_.forget();
        self->discardDueTabs();
        return G_SOURCE_REMOVE;
    }, this));
}

void KTTabViewController::discardDueTabs()
{
    for (KTTabModel::Id id : discardPolicy_.due(discardStates(), g_get_monotonic_time() / 1e6))
        if (auto index = model_.indexOf(id))
            discardTabAt(*index);
    armDiscardTimer();
}

void KTTabViewController::releaseAllWebViews()
{
    for (auto& [id, t] : tabs_) {
        t.page->delegate = nullptr;
        webkit_web_view_load_html(t.page->webview(), "", nullptr);
    }
}

void KTTabViewController::webViewDidBeignLoadUrl(WebKitWebView* view, const std::string& url)
{
    auto* sel = selectedWebViewController();
    if (delegate && sel && sel->webview() == view)
        delegate->needChangeUrl(url);
}

void KTTabViewController::webViewDidEndLoadUrl(WebKitWebView* view, const std::string& url)
{
    auto* sel = selectedWebViewController();
    if (delegate && sel && sel->webview() == view) {
        delegate->needChangeUrl(url);
        delegate->changeSecureStatus(KTPageHooks::hasOnlySecureContent(view));
    }
}

void KTTabViewController::webViewDidChangeLoadStatus(WebKitWebView* view, bool loading)
{
    auto* sel = selectedWebViewController();
    if (delegate && sel && sel->webview() == view)
        delegate->changeLoadStatus(loading);
}

} // namespace quilt
