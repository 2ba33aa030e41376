#include "app/AppDelegate.h"

#include "app/KTDockMonitor.h"
#include "app/KTMenuCommands.h"
#include "app/KTStatusItemController.h"

#include "core/config/KTBehaviorManager.h"
#include "core/config/KTBookmarksManager.h"
#include "core/config/KTBundle.h"
#include "core/config/KTHistoryManager.h"
#include "core/config/KTIcns.h"
#include "core/config/KTLog.h"
#include "core/config/KTNotificationNames.h"
#include "core/config/KTQuiltManager.h"
#include "core/config/KTRestoreManager.h"
#include "core/config/KTSettingsManager.h"
#include "core/config/KTUpdateManager.h"
#include "core/config/KTUserDefaults.h"
#include "core/services/KTLauncherEntry.h"
#include "core/services/KTServiceManager.h"
#include "core/menubar/KTMainMenu.h"
#include "core/web/KTUserAgents.h"
#include "core/windows/KTWindowRestorer.h"
#include "ui/dialogs/KTDialogs.h"
#include "ui/dialogs/KTQuitConfirmation.h"
#include "ui/menubar/KTAppIcon.h"
#include "ui/menubar/KTGlobalShortcut.h"
#include "ui/preferences/KTPreferencesPanes.h"
#include "ui/preferences/KTPreferencesWindow.h"
#include "ui/menubar/KTStatusBarItemView.h"
#include "ui/windows/KTMainWindowController.h"
#include "ui/windows/KTScreen.h"
#include "web/KTWebContext.h"
#include "web/KTUnreadWatcher.h"
#include "web/KTWebManager.h"

#include <glib-unix.h>
#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>

namespace quilt {

namespace {
AppDelegate* sharedDelegate = nullptr;

std::string applicationId()
{
    std::string id = KTBundle::main().bundleIdentifier();
    return g_application_id_is_valid(id.c_str()) ? id : std::string("org.quilt.DefaultApp");
}

KTMainWindowController* firstWindow()
{
    auto& list = KTMainWindowController::mainWindows();
    return list.empty() ? nullptr : list.front().get();
}

} // namespace

AppDelegate::AppDelegate()
{
    sharedDelegate = this;
    KTShellDelegate::setShared(this);
    KTMainWindowController::setWindowsDelegate(this);
}

AppDelegate::~AppDelegate()
{
    KTShellDelegate::setShared(nullptr);
    if (KTMainWindowController::windowsDelegate() == this)
        KTMainWindowController::setWindowsDelegate(nullptr);
    KTGlobalShortcut::unbind();
    preferences_.reset();
    statusItem_.reset();
    dockMonitor_.reset();
    unreadWatcher_.reset();
    launcherEntry_.reset();
    commands_.reset();
    if (app_)
        g_object_unref(app_);
    sharedDelegate = nullptr;
}

AppDelegate* AppDelegate::shared() { return sharedDelegate; }

int AppDelegate::run(int argc, char** argv)
{
    // Taken out before GApplication sees the arguments: it knows no such
    // option, and the rest are files or addresses to open.
    std::vector<char*> args;
    for (int i = 0; i < argc; ++i) {
        std::string_view a = argv[i] ? argv[i] : "";
        if (i > 0 && (a == "--preferences" || a.rfind("--preferences=", 0) == 0))
            preferencesAtLaunch_ = std::string(a.size() > 14 ? a.substr(14) : "");
        else
            args.push_back(argv[i]);
    }
    args.push_back(nullptr);
    argc = static_cast<int>(args.size()) - 1;
    argv = args.data();
    std::string id = applicationId();
    // The window class matches the desktop entry's StartupWMClass.
    g_set_prgname(id.c_str());
    gdk_set_program_class(id.c_str());
    app_ = gtk_application_new(id.c_str(), G_APPLICATION_HANDLES_OPEN);
    g_signal_connect(app_, "startup", G_CALLBACK(+[](GApplication*, AppDelegate* self) { self->onStartup(); }), this);
    g_signal_connect(app_, "activate", G_CALLBACK(+[](GApplication*, AppDelegate* self) { self->onActivate(); }), this);
    g_signal_connect(app_, "open", G_CALLBACK(+[](GApplication*, GFile** files, int n, const char*, AppDelegate* self) {
                         self->onOpen(files, n);
                     }),
                     this);
    g_signal_connect(app_, "shutdown", G_CALLBACK(+[](GApplication*, AppDelegate* self) {
                         self->applicationWillTerminate();
                     }),
                     this);
    return g_application_run(G_APPLICATION(app_), argc, argv);
}

void AppDelegate::onStartup()
{
    KTMainWindowController::setApplication(app_);
    KTDialogs::install();
    // A click on any of the app's notifications, or on one of its buttons,
    // brings the app to the front (unhiding it), and nothing more.
    KTServiceManager::sharedManager().setNotificationActionHandler([this](const std::string&, const std::string&) {
        if (hidden_)
            applicationShouldHandleReopen();
        else if (auto* top = getTopMainController())
            showController(top);
    });
    loadApplicationIcon();
    installActions();
    // Logging out sends SIGTERM: quit without asking, but save.
    auto onSignal = +[](gpointer data) -> gboolean {
        static_cast<AppDelegate*>(data)->quit(false);
        return G_SOURCE_CONTINUE;
    };
    g_unix_signal_add(SIGTERM, onSignal, this);
    g_unix_signal_add(SIGINT, onSignal, this);
    g_unix_signal_add(SIGHUP, onSignal, this);
}

void AppDelegate::onActivate()
{
    if (!launched_) {
        launch();
        return;
    }
    applicationShouldHandleReopen();
}

void AppDelegate::onOpen(GFile** files, int count)
{
    std::vector<std::string> urls;
    for (int i = 0; i < count; ++i) {
        char* uri = g_file_get_uri(files[i]);
        urls.emplace_back(uri ? uri : "");
        g_free(uri);
    }
    if (!launched_)
        launch();
    else if (hidden_)
        applicationShouldHandleReopen();
    for (const auto& url : urls)
        handleURLEvent(url);
}

void AppDelegate::loadApplicationIcon()
{
    std::string path = KTBundle::main().resourcePath() + "/AppIcon.icns";
    // 128 px is plenty for title bars and task lists, and cheap to send.
    GdkPixbuf* icon = KTIcns::readNearest(path, KTAppIcon::kSize);
    // A bundle without its icon file still gets a default icon now: GTK gives
    // a later default icon only to windows that had one when they were shown,
    // so the badge and the dock monitor's picture would never reach them.
    if (!icon)
        icon = gtk_icon_theme_load_icon(gtk_icon_theme_get_default(), "web-browser", KTAppIcon::kSize,
                                        GTK_ICON_LOOKUP_FORCE_SIZE, nullptr);
    KTAppIcon::shared().setBaseIcon(icon);
    if (icon)
        g_object_unref(icon);
}

void AppDelegate::launch()
{
    launched_ = true;
    applicationWillFinishLaunching();
    applicationDidFinishLaunching();
}

void AppDelegate::applicationWillFinishLaunching()
{
    auto& settings = KTSettingsManager::sharedManager();
    // Cookie policy of the app's own session.
    KTWebContext::shared().setCookieAcceptPolicy(settings.cookiesAllow());
    auto& restore = KTRestoreManager::sharedManager();
    KTMainWindowController* top = createNewMainWindow();
    KTQuiltManager::sharedManager();
    auto& behavior = KTBehaviorManager::sharedManager();
    // No window is restored in menu-bar mode; without a tray the app opens
    // its windows as usual rather than running unseen.
    if (behavior.statusBarMode() && showAsStatusItem())
        return;

    if (KTQuiltManager::enterpriseBuild())
        setFirstWindowAlpha(KTQuiltManager::alphaValue());
    std::vector<std::string> keys = restore.windowKeys();
    std::optional<std::string> firstKey = keys.empty() ? std::nullopt : std::optional<std::string>(keys.front());
    restorWindowForKey(top, firstKey);
    if (behavior.restoreWindowsAndTabs()) {
        if (KTQuiltManager::enterpriseBuild())
            top->tabController()->goHome();
        else
            top->tabController()->restoreUrls(firstKey ? restore.getUrlsForKey(*firstKey).value_or(std::vector<std::string>{})
                                                       : std::vector<std::string>{});
        for (size_t i = 1; i < keys.size(); ++i) {
            auto urls = restore.getUrlsForKey(keys[i]).value_or(std::vector<std::string>{});
            if (behavior.openTabInsteadWindow()) {
                KTMainWindowController* front = getTopMainController();
                front->tabController()->addNewTab();
                front->tabController()->restoreUrls(urls);
            } else {
                KTMainWindowController* c = KTMainWindowController::create();
                restorWindowForKey(c, keys[i]);
                c->tabController()->restoreUrls(urls);
                c->showWindow();
            }
        }
    } else {
        top->tabController()->goHome();
    }
    top->showWindow();
}

void AppDelegate::applicationDidFinishLaunching()
{
    observations_.emplace_back(names::kShowWindow, [this](const KTNotification&) {
        if (statusItem_) {
            statusItem_->showPopover();
            return;
        }
        if (hidden_) {
            applicationShouldHandleReopen();
            return;
        }
        // The hot key's own time lets the window manager raise it over
        // whatever had the focus.
        if (auto* top = getTopMainController())
            gtk_window_present_with_time(top->window().window(), hotKeyTime_ ? hotKeyTime_ : GDK_CURRENT_TIME);
        hotKeyTime_ = 0;
    });
    if (auto* top = getTopMainController())
        top->updateWindowTitlebar();
    if (preferencesAtLaunch_)
        showPreferences(*preferencesAtLaunch_);
    // The unread count reaches the dock through the app's desktop entry.
    launcherEntry_ = std::make_unique<KTLauncherEntry>(KTLauncherEntry::appUriFor(KTBundle::main().bundleIdentifier()));
    unreadWatcher_ = std::make_unique<KTUnreadWatcher>([this]() -> KTWebViewController* {
        auto* top = getTopMainController();
        return top ? top->tabController()->selectedWebViewController() : nullptr;
    });
    unreadWatcher_->setup();
    // Registry, spell checking and other housekeeping wait until the first
    // page has had the machine to itself.
    g_timeout_add_full(G_PRIORITY_LOW, 1500, +[](gpointer data) -> gboolean {
        static_cast<AppDelegate*>(data)->afterFirstPaint();
        return G_SOURCE_REMOVE;
    }, this, nullptr);
}

void AppDelegate::afterFirstPaint()
{
    if (terminating_)
        return;
    KTUpdateManager::sharedManager().addUpdatePath(KTBundle::main().path());
    enableSpellCheckAndGrammar();
    // Hand back what start-up allocated and freed.
    malloc_trim(0);
}

void AppDelegate::enableSpellCheckAndGrammar()
{
    auto& defaults = KTUserDefaults::standardUserDefaults();
    defaults.setBool("WebGrammarCheckingEnabled", true);
    defaults.setBool("WebContinuousSpellCheckingEnabled", true);
    defaults.synchronize();
    KTWebContext::shared().enableSpellChecking();
}

KTMainWindowController* AppDelegate::getTopMainController() const { return KTMainWindowController::front(); }

KTMainWindowController* AppDelegate::createNewMainWindow() { return KTMainWindowController::create(); }

std::string AppDelegate::appTargetName() const { return KTBundle::main().folderName(); }

void AppDelegate::restorWindowForKey(KTMainWindowController* controller, const std::optional<std::string>& key)
{
    if (!controller)
        return;
    auto& behavior = KTBehaviorManager::sharedManager();
    KTWindowRestorer::Inputs in;
    in.enterpriseBuild = KTQuiltManager::enterpriseBuild();
    in.mobileVersion = behavior.mobileVersion();
    in.windowAllSpace = behavior.windowAllSpace();
    in.creationToolBuild = KTQuiltManager::quiltCreationToolBuild();
    if (in.creationToolBuild)
        in.creationToolSize = KTQuiltManager::quiltCreationToolWindowSize();
    in.screen = mainScreenFrame();
    in.key = key;
    if (key && !key->empty())
        in.frame = KTRestoreManager::sharedManager().windowsFrameString(*key);
    if (auto placement = KTWindowRestorer::placementForKey(in)) {
        controller->window().setFrame(placement->frame);
        if (placement->center)
            controller->window().center();
    }
    // All desktops: the window sticks to every workspace.
    if (behavior.windowAllSpace())
        gtk_window_stick(controller->window().window());
}

void AppDelegate::handleURLEvent(const std::string& url)
{
    KTLog::debug("url = " + url);
    KTMainWindowController* top = getTopMainController();
    switch (KTBehaviorManager::sharedManager().openLinksIn()) {
    case 0: {
        KTMainWindowController* c = top ? top->needCreateWindowForController(nullptr) : createNewMainWindow();
        c->tabController()->restoreUrls({url});
        c->showWindow();
        break;
    }
    case 1:
        if (top) {
            top->tabController()->addNewTab();
            top->tabController()->openUrl(url);
            showController(top);
        }
        break;
    case 2:
        if (top) {
            top->tabController()->openUrl(url);
            showController(top);
        }
        break;
    default:
        break;
    }
}

void AppDelegate::applicationShouldHandleReopen()
{
    if (statusItem_) {
        statusItem_->showPopover();
        return;
    }
    if (hidden_) {
        // The app was hidden when its last window closed: unhide it.
        hidden_ = false;
        for (auto& c : KTMainWindowController::mainWindows())
            gtk_widget_show(GTK_WIDGET(c->window().window()));
    }
    bool visible = false;
    for (auto& c : KTMainWindowController::mainWindows())
        visible = visible || gtk_widget_get_visible(GTK_WIDGET(c->window().window()));
    if (visible) {
        if (auto* top = getTopMainController())
            top->showWindow();
    } else {
        newWindowClick();
    }
}

void AppDelegate::newWindowClick()
{
    KTMainWindowController* top = getTopMainController();
    KTMainWindowController* c = top ? top->needCreateWindowForController(nullptr) : nullptr;
    if (!c)
        c = createNewMainWindow();
    c->tabController()->goHome();
    if (KTQuiltManager::enterpriseBuild()) {
        c->window().setFrame(defaultFrame_);
        c->window().center();
    } else {
        auto keys = KTRestoreManager::sharedManager().windowKeys();
        restorWindowForKey(c, keys.empty() ? std::nullopt : std::optional<std::string>(keys.front()));
    }
    c->showWindow();
}

void AppDelegate::showPreferences(const std::string& pane)
{
    if (KTSettingsManager::sharedManager().hidePreferences())
        return;
    if (!preferences_) {
        preferences_ = std::make_unique<KTPreferencesWindow>(KTPreferencesPanes::make());
        // Made afresh next time, so it shows what the menus changed meanwhile.
        preferences_->onClosed = [this] { preferences_.reset(); };
    }
    KTMainWindowController* top = getTopMainController();
    preferences_->present(pane, top ? top->window().window() : nullptr);
}

void AppDelegate::showController(KTMainWindowController* controller)
{
    if (statusItem_ && statusItem_->host() == controller)
        statusItem_->showPopover();
    else
        controller->showWindow();
}

bool AppDelegate::statusBarMode() const { return KTBehaviorManager::sharedManager().statusBarMode(); }

KTStatusBarItemView* AppDelegate::statusItemView() const
{
    return statusItem_ ? &statusItem_->statusItemView() : nullptr;
}

bool AppDelegate::showAsStatusItem()
{
    if (statusItem_)
        return true;
    std::string why;
    if (!KTStatusBarItemView::hostAvailable(&why)) {
        KTLog::line("menu-bar mode: " + why + "; showing the app in a window instead");
        return false;
    }
    KTMainWindowController* top = getTopMainController();
    if (!top)
        top = createNewMainWindow();
    // Out of the taskbar, as an app without a Dock icon; windows opened
    // later follow (windowDidOpen).
    for (auto& c : KTMainWindowController::mainWindows())
        gtk_window_set_skip_taskbar_hint(c->window().window(), TRUE);
    statusItem_ = std::make_unique<KTStatusItemController>(app_, top);
    // The window stays, unseen: its tabs live in the popup now.
    gtk_widget_hide(GTK_WIDGET(top->window().window()));
    top->tabController()->goHome();
    auto& behavior = KTBehaviorManager::sharedManager();
    behavior.setStatusBarMode(true);
    behavior.save();
    if (commands_)
        commands_->setStatusBarModeShown(true);
    return true;
}

void AppDelegate::switchToNormalMode()
{
    auto& behavior = KTBehaviorManager::sharedManager();
    behavior.setStatusBarMode(false);
    behavior.save();
    // The relaunched app starts in its windows; this one leaves at once,
    // without the quitting steps.
    char* quoted = g_shell_quote(KTBundle::main().executablePath().c_str());
    std::string command = std::string("sleep 1; exec ") + quoted;
    g_free(quoted);
    const char* argv[] = {"/bin/sh", "-c", command.c_str(), nullptr};
    GError* error = nullptr;
    if (!g_spawn_async(nullptr, const_cast<char**>(argv), nullptr, G_SPAWN_DEFAULT, nullptr, nullptr, nullptr,
                       &error)) {
        KTLog::line(std::string("error: ") + (error ? error->message : "cannot relaunch"));
        g_clear_error(&error);
    }
    if (GDBusConnection* bus = g_application_get_dbus_connection(G_APPLICATION(app_)))
        g_dbus_connection_flush_sync(bus, nullptr, nullptr);
    fflush(nullptr);
    _exit(0);
}

void AppDelegate::windowDidOpen(KTMainWindowController* controller)
{
    if (statusItem_)
        gtk_window_set_skip_taskbar_hint(controller->window().window(), TRUE);
}

void AppDelegate::closeTab()
{
    KTMainWindowController* top = getTopMainController();
    if (!top)
        return;
    KTTabViewController* tabs = top->tabController();
    switch (KTMainMenu::closeTabRule(tabs->tabsCount())) {
    case KTCloseTabRule::RemoveTab:
        tabs->removeCurrentTab();
        break;
    case KTCloseTabRule::RemoveTabAndHideTabBar:
        tabs->removeCurrentTab();
        tabs->hideToolbar();
        break;
    case KTCloseTabRule::CloseWindow:
        top->close();
        break;
    }
}

void AppDelegate::hideApplication()
{
    hidden_ = true;
    for (auto& c : KTMainWindowController::mainWindows())
        gtk_widget_hide(GTK_WIDGET(c->window().window()));
}

void AppDelegate::applicationShouldTerminate(std::function<void(bool)> decided)
{
    if (!KTBehaviorManager::sharedManager().warnCloseWindows() || KTMainWindowController::mainWindows().size() < 2) {
        decided(true);
        return;
    }
    KTMainWindowController* top = getTopMainController();
    // "Quitting" here, "Quiting" at a window's close: they differ on purpose.
    KTQuitConfirmation::ask(top ? top->window().window() : nullptr, "Quitting will close all Windows and Tabs.",
                            std::move(decided));
}

void AppDelegate::quit(bool ask)
{
    if (terminating_)
        return;
    if (ask) {
        // One question at a time; "Quit" comes back here without asking.
        if (askingToQuit_)
            return;
        askingToQuit_ = true;
        applicationShouldTerminate([this](bool quits) {
            askingToQuit_ = false;
            if (quits)
                quit(false);
        });
        return;
    }
    applicationWillTerminate();
    g_application_quit(G_APPLICATION(app_));
}

void AppDelegate::applicationWillTerminate()
{
    if (terminating_)
        return;
    terminating_ = true;
    if (preferences_)
        preferences_->close(); // its panes commit what waits for the close
    KTSettingsManager::sharedManager().saveSettings();
    auto& restore = KTRestoreManager::sharedManager();
    if (KTBehaviorManager::sharedManager().restoreWindowsAndTabs()) {
        restore.clear();
        size_t i = 0;
        for (auto& c : KTMainWindowController::mainWindows()) {
            std::string key = "window" + std::to_string(i++);
            restore.addUrlsForKey(c->tabController()->getOpenedUrls(), key);
            restore.setWindowFrameStringForKey(c->window().frame().toString(), key);
        }
        restore.save();
    } else if (KTMainWindowController* top = getTopMainController()) {
        // Recorded in memory only, deliberately.
        restore.setWindowFrameStringForKey(top->window().frame().toString(), "window0");
    }
    KTHistoryManager::sharedManager().save();
    KTBookmarksManager::sharedManager().save();
}

void AppDelegate::installActions()
{
    commands_ = std::make_unique<KTMenuCommands>(*this, app_);
    addUseragents();
}

KTDockMonitor& AppDelegate::dockMonitor()
{
    if (!dockMonitor_)
        dockMonitor_ = std::make_unique<KTDockMonitor>([this] {
            if (commands_)
                commands_->setDockMonitorState(dockMonitor_->title(), dockMonitor_->editItemShown());
        });
    return *dockMonitor_;
}

GMenuModel* AppDelegate::primaryMenu() { return commands_ ? commands_->menu().model() : nullptr; }

void AppDelegate::menuWillOpen()
{
    if (commands_)
        commands_->menu().menuWillOpen();
}

void AppDelegate::menuDidClose()
{
    if (commands_)
        commands_->menu().menuDidClose();
}

void AppDelegate::addUseragents()
{
    // The chosen agent: the mobile one, else the last chosen, else Safari-Mac.
    std::string chosen = KTUserAgents::agentNameForNewPage(KTBehaviorManager::sharedManager().mobileVersion(),
                                                           KTUserDefaults::standardUserDefaults());
    GSimpleAction* action = g_simple_action_new_stateful("user-agent", G_VARIANT_TYPE_STRING,
                                                         g_variant_new_string(chosen.c_str()));
    g_signal_connect(action, "change-state", G_CALLBACK(+[](GSimpleAction* a, GVariant* value, gpointer) {
                         std::string name = g_variant_get_string(value, nullptr);
                         g_simple_action_set_state(a, value);
                         KTNotificationCenter::defaultCenter().post(names::kChangeUserAgent, name);
                         KTUserAgents::setLastUserAgent(KTUserDefaults::standardUserDefaults(), name);
                     }),
                     nullptr);
    g_action_map_add_action(G_ACTION_MAP(app_), G_ACTION(action));
    g_object_unref(action);
    observations_.emplace_back(names::kSetCustomUserAgent, [this](const KTNotification& n) { setCustomAgent(n); });
}

void AppDelegate::setCustomAgent(const KTNotification& note)
{
    // Pages take the text, and so do pages opened later; the menu marks it
    // when it names an agent of the table and otherwise falls back to
    // Safari-Mac, on purpose.
    const std::string* text = std::any_cast<std::string>(&note.object);
    if (text)
        KTWebManager::sharedManager().chooseAgent(*text);
    KTNotificationCenter::defaultCenter().post(names::kChangeUserAgent, note.object);
    std::string mark = KTUserAgents::kSafariMac;
    for (const char* name : KTUserAgents::kNames)
        if (text && *text == name)
            mark = name;
    if (GAction* action = g_action_map_lookup_action(G_ACTION_MAP(app_), "user-agent"))
        g_simple_action_set_state(G_SIMPLE_ACTION(action), g_variant_new_string(mark.c_str()));
    KTUserAgents::setLastUserAgent(KTUserDefaults::standardUserDefaults(), mark);
}

void AppDelegate::setMainWindowColor(const KTColor& color)
{
    KTLog::debug(color.colorIsLight() ? "LIGHT MODE....." : "DARK MODE.....");
    if (auto* top = getTopMainController())
        top->window().setBackgroundColor(color);
}

void AppDelegate::setMainWindowTitle(bool)
{
    if (auto* top = getTopMainController())
        top->updateWindowTitlebar();
}

void AppDelegate::setMainWindowTitleIcon(bool)
{
    if (auto* top = getTopMainController())
        top->updateWindowTitlebar();
}

void AppDelegate::setMainWindowTitleBar(bool hide)
{
    if (auto* top = getTopMainController())
        top->updateWindowTitlebar();
    KTNotificationCenter::defaultCenter().post(names::kTitlebarVisibilityChange, {},
                                               KTJson{{"TitlebarVisibility", hide}});
}

void AppDelegate::setStausBarOption(bool show)
{
    if (commands_)
        commands_->setStausBarOption(show);
}

void AppDelegate::setHidePreferences(bool hide)
{
    if (commands_)
        commands_->setHidePreferences(hide);
    if (auto* top = getTopMainController())
        top->hidePreferences(hide);
}

void AppDelegate::setUserScriptStyleOption(bool show)
{
    if (commands_)
        commands_->setUserScriptStyleOption(show);
}

void AppDelegate::setMobileDesktopOption(bool show)
{
    if (commands_)
        commands_->setMobileDesktopOption(show);
}

void AppDelegate::setBookmark(bool hide)
{
    if (commands_)
        commands_->setBookmark(hide);
}

void AppDelegate::registerGlobalShortcut(const std::string& accelerator)
{
    KTGlobalShortcut::bind(accelerator, [this](uint32_t time) {
        hotKeyTime_ = time;
        KTNotificationCenter::defaultCenter().post(names::kShowWindow);
    });
}

void AppDelegate::setDefaultWindowSize(double width, double height)
{
    KTRect screen = mainScreenFrame();
    defaultFrame_ = KTRect{screen.x, screen.y, width, height};
    if (auto* top = getTopMainController()) {
        top->window().setFrame(defaultFrame_);
        top->window().center();
    }
}

void AppDelegate::setFirstWindowLevel(long level)
{
    if (auto* w = firstWindow())
        gtk_window_set_keep_above(w->window().window(), level == 3);
}

void AppDelegate::setFirstWindowShadow(bool) {}

void AppDelegate::setFirstWindowAlpha(double alpha)
{
    if (auto* w = firstWindow())
        w->window().setAlpha(alpha);
}

void AppDelegate::setApplicationIcon(GdkPixbuf* image)
{
    if (image)
        KTAppIcon::shared().setBaseIcon(image);
}

void AppDelegate::applyCookieAcceptPolicy(unsigned long policy)
{
    KTWebContext::shared().setCookieAcceptPolicy(policy);
}

KTRect AppDelegate::mainScreenFrame()
{
    return KTScreen::mainWorkArea().value_or(KTShellDelegate::mainScreenFrame());
}

} // namespace quilt
