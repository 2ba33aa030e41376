#include "ui/windows/KTMainWindowController.h"

#include "core/config/KTBehaviorManager.h"
#include "core/config/KTLog.h"
#include "core/config/KTNotificationNames.h"
#include "core/config/KTQuiltManager.h"
#include "core/config/KTSettingsManager.h"
#include "core/config/KTUserDefaults.h"
#include "ui/dialogs/KTQuitConfirmation.h"
#include "ui/windows/KTScreen.h"

#include <algorithm>
#include <cmath>

namespace quilt {

namespace {
GtkApplication* application = nullptr;
KTMainWindowsDelegate* windowsDelegate_ = nullptr;

std::vector<std::unique_ptr<KTMainWindowController>>& windowList()
{
    static std::vector<std::unique_ptr<KTMainWindowController>> list;
    return list;
}

GtkWidget* toolButton(const char* icon, const char* tooltip, const char* action)
{
    GtkWidget* b = gtk_button_new_from_icon_name(icon, GTK_ICON_SIZE_BUTTON);
    gtk_widget_set_tooltip_text(b, tooltip);
    gtk_widget_set_focus_on_click(b, FALSE);
    if (action)
        gtk_actionable_set_action_name(GTK_ACTIONABLE(b), action);
    return b;
}
} // namespace

void KTMainWindowController::setApplication(GtkApplication* app) { application = app; }

void KTMainWindowController::setWindowsDelegate(KTMainWindowsDelegate* delegate) { windowsDelegate_ = delegate; }

KTMainWindowsDelegate* KTMainWindowController::windowsDelegate() { return windowsDelegate_; }

const std::vector<std::unique_ptr<KTMainWindowController>>& KTMainWindowController::mainWindows()
{
    return windowList();
}

KTMainWindowController* KTMainWindowController::forWindow(GtkWindow* window)
{
    for (auto& c : windowList())
        if (c->window_->window() == window)
            return c.get();
    return nullptr;
}

KTMainWindowController* KTMainWindowController::front()
{
    // GtkApplication keeps its windows most recently focused first.
    if (application)
        for (GList* l = gtk_application_get_windows(application); l; l = l->next)
            if (auto* c = forWindow(GTK_WINDOW(l->data)))
                return c;
    const auto& windows = windowList();
    return windows.empty() ? nullptr : windows.back().get();
}

KTMainWindowController* KTMainWindowController::create(std::unique_ptr<KTWebViewController> first)
{
    std::unique_ptr<KTMainWindowController> c(new KTMainWindowController(std::move(first)));
    KTMainWindowController* raw = c.get();
    windowList().push_back(std::move(c));
    raw->applyDefaultFrame();
    raw->windowDidLoad();
    if (windowsDelegate_)
        windowsDelegate_->windowDidOpen(raw);
    return raw;
}

KTMainWindowController::KTMainWindowController(std::unique_ptr<KTWebViewController> first)
    : window_(std::make_unique<KTMainWindow>(application))
    , tabController_(std::make_unique<KTTabViewController>(std::move(first)))
{
    buildToolbar();
    if (GMenuModel* model = windowsDelegate_ ? windowsDelegate_->primaryMenu() : nullptr) {
        // The main menu as a bar under the title bar, standing in for the toolbar.
        menuBar_ = std::make_unique<KTMenuBar>(window_->window(), model, [](bool opening) {
            if (windowsDelegate_ && opening)
                windowsDelegate_->menuWillOpen();
            else if (windowsDelegate_)
                windowsDelegate_->menuDidClose();
        });
        menuBar_->setToolbarShown(toolbarShown_);
        gtk_box_pack_start(window_->menuBarArea(), menuBar_->widget(), FALSE, FALSE, 0);
    }
    window_->setContent(tabController_->view());
    tabController_->delegate = this;
    signals_.emplace_back(window_->window(), "delete-event",
                          G_CALLBACK(+[](GtkWidget*, GdkEvent*, KTMainWindowController* self) -> gboolean {
                              self->close();
                              return TRUE; // the controller destroys the window itself
                          }),
                          this);
}

KTMainWindowController::~KTMainWindowController()
{
    *alive_ = false;
    colorIdle_.reset();
    colorPaint_.disconnect();
    observations_.clear();
    signals_.clear();
    if (tabController_)
        tabController_->delegate = nullptr;
    tabController_.reset();
    window_.reset();
    urlField_.reset();
}

void KTMainWindowController::applyDefaultFrame()
{
    auto area = KTScreen::mainWorkArea();
    if (!area)
        return;
    if (KTQuiltManager::quiltCreationToolBuild()) {
        KTSize size = KTQuiltManager::quiltCreationToolWindowSize();
        window_->setFrame(KTRect{area->x, area->y, size.width, size.height});
        window_->center();
    } else {
        window_->setFrame(*area);
    }
}

void KTMainWindowController::buildToolbar()
{
    GtkHeaderBar* bar = window_->headerBar();
    titleIcon_ = gtk_image_new();
    gtk_header_bar_pack_start(bar, titleIcon_);
    GtkWidget* nav = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 0);
    gtk_style_context_add_class(gtk_widget_get_style_context(nav), "linked");
    gtk_container_add(GTK_CONTAINER(nav), toolButton("go-previous-symbolic", "Back", "app.back"));
    gtk_container_add(GTK_CONTAINER(nav), toolButton("go-next-symbolic", "Forward", "app.forward"));
    gtk_header_bar_pack_start(bar, nav);
    GtkWidget* home = toolButton("go-home-symbolic", "Home", "app.home");
    gtk_header_bar_pack_start(bar, home);

    urlField_ = std::make_unique<KTURLBarField>();
    // Return: the whole text, even an empty one; then the page has the keys.
    urlField_->onReturn = [this](const std::string& text) {
        openTypedText(text);
        focusPage();
    };
    urlField_->onEscape = [this]() {
        KTWebViewController* page = tabController_->selectedWebViewController();
        urlField_->setURLString(page ? page->url() : "");
        focusPage();
    };
    window_->setMiddleWidget(urlField_->widget());

    GtkWidget* menu = gtk_menu_button_new();
    gtk_button_set_image(GTK_BUTTON(menu), gtk_image_new_from_icon_name("open-menu-symbolic", GTK_ICON_SIZE_BUTTON));
    gtk_widget_set_tooltip_text(menu, "Menu");
    if (GMenuModel* model = windowsDelegate_ ? windowsDelegate_->primaryMenu() : nullptr)
        gtk_menu_button_set_menu_model(GTK_MENU_BUTTON(menu), model);
    signals_.emplace_back(menu, "toggled", G_CALLBACK(+[](GtkToggleButton* b, gpointer) {
                              if (!windowsDelegate_)
                                  return;
                              if (gtk_toggle_button_get_active(b))
                                  windowsDelegate_->menuWillOpen();
                              else
                                  windowsDelegate_->menuDidClose();
                          }),
                          nullptr);
    gtk_header_bar_pack_end(bar, menu);
    toolbarButton_ = toolButton("view-reveal-symbolic", "Show or Hide the Toolbar", "app.toggle-toolbar");
    gtk_header_bar_pack_end(bar, toolbarButton_);
    GtkWidget* add = toolButton("tab-new-symbolic", "New Tab", "app.new-tab");
    gtk_header_bar_pack_end(bar, add);
    downloads_ = std::make_unique<KTDownloadsView>();
    gtk_header_bar_pack_end(bar, downloads_->toolbarItem());

    toolbarItems_ = {nav, home, add, downloads_->toolbarItem()};
    for (GtkWidget* w : toolbarItems_)
        gtk_widget_show_all(w);
    gtk_widget_show_all(menu);
    gtk_widget_show(toolbarButton_);
    gtk_widget_show(titleIcon_);
    setToolbarShown(false);
}

void KTMainWindowController::windowDidLoad()
{
    auto& s = KTSettingsManager::sharedManager();
    observations_.emplace_back(names::kUpdateWindowBackgroundColor,
                               [this](const KTNotification&) { updateWindowColor(); });
    observations_.emplace_back(names::kShowHideToolbarButton, [this](const KTNotification&) {
        gtk_widget_set_visible(toolbarButton_, !KTSettingsManager::sharedManager().hideToolbarButton());
    });
    // The stored value is a fraction; the absent value 100 clamps to opaque.
    window_->setAlpha(s.windowOpacity());
    unsigned long appearance = s.appearance();
    if (appearance == 1 || appearance == 2)
        g_object_set(gtk_settings_get_default(), "gtk-application-prefer-dark-theme", appearance == 2, nullptr);
    updateWindowTitlebar();
    applyWindowColor(s.windowColor());
    gtk_window_set_keep_above(window_->window(), s.windowLevel() == 3);

    KTNotificationCenter::defaultCenter().post(names::kTitlebarVisibilityChange, {},
                                               KTJson{{"TitlebarVisibility", s.hideTitlebar()}});
    if (KTUserDefaults::standardUserDefaults().boolForKey("ToolbarVisible"))
        tabController_->showToolbar();
    gtk_widget_set_visible(toolbarButton_, !s.hideToolbarButton());
    // The page has the keys from the start, not whatever GTK focuses first.
    focusPage();
}

void KTMainWindowController::showWindow()
{
    gtk_window_present(window_->window());
}

void KTMainWindowController::updateWindowTitlebar()
{
    auto& s = KTSettingsManager::sharedManager();
    std::string title = s.hideTitle() ? " " : KTQuiltManager::applicationName();
    window_->setTitle(title);
    GList* icons = gtk_window_get_default_icon_list();
    if (icons) {
        GdkPixbuf* small = gdk_pixbuf_scale_simple(GDK_PIXBUF(icons->data), 20, 20, GDK_INTERP_BILINEAR);
        gtk_image_set_from_pixbuf(GTK_IMAGE(titleIcon_), small);
        g_object_unref(small);
        g_list_free(icons);
    }
    gtk_widget_set_visible(titleIcon_, !s.hideTitleIcon() && !toolbarShown_);
}

void KTMainWindowController::applyWindowColor(const KTColor& color)
{
    KTLog::debug(color.colorIsLight() ? "LIGHT MODE....." : "DARK MODE.....");
    window_->setBackgroundColor(color);
}

void KTMainWindowController::updateWindowColor()
{
    auto& s = KTSettingsManager::sharedManager();
    if (!s.autoWindowColor())
        return;
    KTWebViewController* page = tabController_->selectedWebViewController();
    // A page still loading has nothing of its own to show yet.
    if (!page || page->isLoading() || !gtk_widget_get_mapped(GTK_WIDGET(page->webview())))
        return;
    // The colour is read from what the view paints next, once that paint is
    // on screen: asking the engine for an image instead renders the whole
    // visible page again for one pixel, on every tab switch and load.
    colorIdle_.reset();
    colorPaint_ = KTSignal(page->webview(), "draw",
                           G_CALLBACK(+[](GtkWidget*, cairo_t*, KTMainWindowController* self) -> gboolean {
                               if (!self->colorIdle_.active())
                                   self->colorIdle_ = KTSource(g_idle_add(+[](gpointer data) -> gboolean {
                                       auto* me = static_cast<KTMainWindowController*>(data);
                                       me->colorIdle_.forget();
                                       me->colorPaint_.disconnect();
                                       me->sampleWindowColor();
                                       return G_SOURCE_REMOVE;
                                   }, self));
                               return FALSE;
                           }),
                           this, G_CONNECT_AFTER);
    gtk_widget_queue_draw(GTK_WIDGET(page->webview()));
}

void KTMainWindowController::sampleWindowColor()
{
    KTWebViewController* page = tabController_ ? tabController_->selectedWebViewController() : nullptr;
    GtkWidget* view = page ? GTK_WIDGET(page->webview()) : nullptr;
    if (!view || !gtk_widget_get_mapped(view))
        return;
    // The view's top two rows as painted; the pixel in the middle of the
    // second one is the page's colour, white when there is none.
    const int width = gtk_widget_get_allocated_width(view);
    KTColor color = KTColor::rgb(1, 1, 1);
    if (width > 0 && gtk_widget_get_allocated_height(view) > 1) {
        cairo_surface_t* surface = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, width, 2);
        cairo_t* cr = cairo_create(surface);
        gtk_widget_draw(view, cr);
        cairo_destroy(cr);
        cairo_surface_flush(surface);
        const unsigned char* row = cairo_image_surface_get_data(surface) + cairo_image_surface_get_stride(surface);
        uint32_t px = reinterpret_cast<const uint32_t*>(row)[width / 2];
        if (px >> 24)
            color = KTColor::rgb(((px >> 16) & 0xff) / 255.0, ((px >> 8) & 0xff) / 255.0, (px & 0xff) / 255.0);
        cairo_surface_destroy(surface);
    }
    applyWindowColor(color);
}

void KTMainWindowController::hidePreferences(bool) {}

void KTMainWindowController::openUrl(const std::string& text) { tabController_->openUrl(text); }

void KTMainWindowController::openTypedText(const std::string& text)
{
    tabController_->openUrl(addressShortcutFor(text).value_or(text));
}

std::optional<std::string> KTMainWindowController::addressShortcutFor(const std::string&) const
{
    return std::nullopt;
}

void KTMainWindowController::focusPage()
{
    if (KTWebViewController* page = tabController_->selectedWebViewController())
        gtk_widget_grab_focus(GTK_WIDGET(page->webview()));
}

void KTMainWindowController::toggleToolbar()
{
    if (toolbarShown_)
        tabController_->hideToolbar();
    else
        tabController_->showToolbar();
}

void KTMainWindowController::setToolbarShown(bool shown)
{
    toolbarShown_ = shown;
    if (menuBar_)
        menuBar_->setToolbarShown(shown);
    for (GtkWidget* w : toolbarItems_)
        gtk_widget_set_visible(w, shown);
    window_->showMiddleWidget(shown);
    gtk_button_set_image(GTK_BUTTON(toolbarButton_),
                         gtk_image_new_from_icon_name(shown ? "view-conceal-symbolic" : "view-reveal-symbolic",
                                                      GTK_ICON_SIZE_BUTTON));
    updateWindowTitlebar();
}

void KTMainWindowController::windowShouldClose(std::function<void(bool)> decided)
{
    auto& list = windowList();
    if (list.size() == 1 && !KTBehaviorManager::sharedManager().closeApplication()) {
        // The last window is kept: the app hides and comes back when activated.
        if (windowsDelegate_)
            windowsDelegate_->hideApplication();
        decided(false);
        return;
    }
    if (!KTSettingsManager::sharedManager().confirmColseTabs() || tabController_->tabsCount() < 2) {
        willClose();
        decided(true);
        return;
    }
    // One question at a time: a second close while it is up is not asked.
    if (askingToClose_)
        return;
    askingToClose_ = true;
    std::weak_ptr<bool> alive = alive_;
    // "Quiting" here, "Quitting" at the application's quit: they differ on purpose.
    KTQuitConfirmation::ask(window_->window(), "Quiting will close all Windows and Tabs.",
                            [this, alive, decided = std::move(decided)](bool quit) {
                                auto live = alive.lock();
                                if (!live || !*live)
                                    return;
                                askingToClose_ = false;
                                if (quit)
                                    willClose();
                                decided(quit);
                            });
}

void KTMainWindowController::willClose()
{
    tabController_->delegate = nullptr;
    tabController_->releaseAllWebViews();
}

void KTMainWindowController::close()
{
    windowShouldClose([this](bool closes) {
        if (closes)
            releaseLater(this);
    });
}

void KTMainWindowController::releaseLater(KTMainWindowController* controller)
{
    auto& list = windowList();
    auto it = std::find_if(list.begin(), list.end(), [controller](auto& c) { return c.get() == controller; });
    if (it == list.end())
        return;
    // Destroyed from the main loop: we may be inside one of its signals.
    auto* owned = it->release();
    list.erase(it);
    gtk_widget_hide(GTK_WIDGET(owned->window_->window()));
    g_idle_add(+[](gpointer data) -> gboolean {
        delete static_cast<KTMainWindowController*>(data);
        return G_SOURCE_REMOVE;
    }, owned);
}

void KTMainWindowController::needChangeUrl(const std::string& url) { urlField_->setURLString(url); }

void KTMainWindowController::changeSecureStatus(bool secure) { urlField_->setSecure(secure); }

void KTMainWindowController::changeLoadStatus(bool loading) { urlField_->setLoadingState(loading); }

void KTMainWindowController::editUrl()
{
    tabController_->showToolbar();
    gtk_widget_grab_focus(GTK_WIDGET(urlField_->entry()));
}

void KTMainWindowController::newTabWasCreated() { gtk_widget_grab_focus(GTK_WIDGET(urlField_->entry())); }

void KTMainWindowController::tabWasSelected() { updateWindowColor(); }

KTMainWindowController* KTMainWindowController::needCreateWindowForController(std::unique_ptr<KTWebViewController> page)
{
    KTMainWindowController* c = create(std::move(page));
    // A window opened from this one: its frame, a step down and right, kept
    // on screen.
    KTRect from = window_->frame();
    if (!from.isEmpty()) {
        constexpr double kCascade = 24;
        c->window_->setFrame(KTRect{from.x + kCascade, from.y + kCascade, from.width, from.height});
    }
    c->showWindow();
    return c;
}

void KTMainWindowController::closeLastTab() { close(); }

} // namespace quilt
