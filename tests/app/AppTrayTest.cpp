// Menu-bar mode with the real DefaultApp on the real session bus. No tray
// host runs in the headless desktop, so the test owns the
// org.kde.StatusNotifierWatcher itself (on a thread of its own, so that it
// answers while the test waits on programs) and plays the host: it calls
// the item's Activate, reads its menu with GetLayout and clicks menu items.
// Also: the app without any tray, and the badge drawn on the item's icon.

#include "support/GuiTest.h"

#include "core/config/GRef.h"
#include "core/config/KTIcns.h"
#include "ui/menubar/KTStatusBarItemView.h"
#include "ui/windows/KTScreen.h"

#include <gio/gio.h>
#include <gtk/gtk.h>
#include <sys/wait.h>

#include <algorithm>
#include <cstring>
#include <mutex>
#include <regex>
#include <thread>
#include <utility>

namespace quilt::test {
namespace {

const char kWatcherXml[] = R"(<node>
  <interface name="org.kde.StatusNotifierWatcher">
    <method name="RegisterStatusNotifierItem"><arg type="s" direction="in"/></method>
    <method name="RegisterStatusNotifierHost"><arg type="s" direction="in"/></method>
    <property name="RegisteredStatusNotifierItems" type="as" access="read"/>
    <property name="IsStatusNotifierHostRegistered" type="b" access="read"/>
    <property name="ProtocolVersion" type="i" access="read"/>
  </interface>
</node>)";

// A StatusNotifierWatcher with a host, as a desktop's panel provides it;
// it records the items that register.
class TrayWatcher {
public:
    TrayWatcher()
    {
        thread_ = std::thread([this] { run(); });
        EXPECT_TRUE(waitUntil([this] { return state() != State::Starting; }, 10s));
        EXPECT_EQ(state(), State::Owned) << "cannot own org.kde.StatusNotifierWatcher";
    }
    ~TrayWatcher()
    {
        {
            std::lock_guard lock(mutex_);
            if (loop_)
                g_main_loop_quit(loop_);
        }
        thread_.join();
    }
    std::vector<std::string> items() const
    {
        std::lock_guard lock(mutex_);
        return items_;
    }

private:
    enum class State { Starting, Owned, Failed };
    State state() const
    {
        std::lock_guard lock(mutex_);
        return state_;
    }
    void setState(State s)
    {
        std::lock_guard lock(mutex_);
        state_ = s;
    }

    void run()
    {
        GMainContext* context = g_main_context_new();
        g_main_context_push_thread_default(context);
        GMainLoop* loop = g_main_loop_new(context, FALSE);
        GDBusConnection* bus = g_dbus_connection_new_for_address_sync(
            g_getenv("DBUS_SESSION_BUS_ADDRESS"),
            GDBusConnectionFlags(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT
                                 | G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
            nullptr, nullptr, nullptr);
        GDBusNodeInfo* node = g_dbus_node_info_new_for_xml(kWatcherXml, nullptr);
        static const GDBusInterfaceVTable vtable {
            +[](GDBusConnection* c, const char* sender, const char* path, const char* iface, const char* method,
                GVariant* params, GDBusMethodInvocation* invocation, gpointer data) {
                auto* self = static_cast<TrayWatcher*>(data);
                const char* service = nullptr;
                g_variant_get(params, "(&s)", &service);
                if (std::string(method) == "RegisterStatusNotifierItem") {
                    std::lock_guard lock(self->mutex_);
                    self->items_.push_back(std::string(service));
                }
                (void)c, (void)sender, (void)path, (void)iface;
                g_dbus_method_invocation_return_value(invocation, nullptr);
            },
            +[](GDBusConnection*, const char*, const char*, const char*, const char* name, GError**,
                gpointer data) -> GVariant* {
                auto* self = static_cast<TrayWatcher*>(data);
                std::string p = name;
                if (p == "IsStatusNotifierHostRegistered")
                    return g_variant_new_boolean(TRUE);
                if (p == "ProtocolVersion")
                    return g_variant_new_int32(0);
                std::lock_guard lock(self->mutex_);
                std::vector<const char*> names;
                for (const auto& i : self->items_)
                    names.push_back(i.c_str());
                return g_variant_new_strv(names.data(), names.size());
            },
            nullptr,
            {}};
        unsigned object = bus ? g_dbus_connection_register_object(bus, "/StatusNotifierWatcher", node->interfaces[0],
                                                                  &vtable, this, nullptr, nullptr)
                              : 0;
        unsigned owner = 0;
        if (object)
            owner = g_bus_own_name_on_connection(
                bus, "org.kde.StatusNotifierWatcher", G_BUS_NAME_OWNER_FLAGS_NONE,
                +[](GDBusConnection*, const char*, gpointer data) {
                    static_cast<TrayWatcher*>(data)->setState(State::Owned);
                },
                +[](GDBusConnection*, const char*, gpointer data) {
                    static_cast<TrayWatcher*>(data)->setState(State::Failed);
                },
                this, nullptr);
        else
            setState(State::Failed);
        {
            std::lock_guard lock(mutex_);
            loop_ = loop;
        }
        g_main_loop_run(loop);
        if (owner)
            g_bus_unown_name(owner);
        if (object)
            g_dbus_connection_unregister_object(bus, object);
        if (bus) {
            g_dbus_connection_close_sync(bus, nullptr, nullptr);
            g_object_unref(bus);
        }
        g_dbus_node_info_unref(node);
        {
            std::lock_guard lock(mutex_);
            loop_ = nullptr;
        }
        g_main_loop_unref(loop);
        g_main_context_pop_thread_default(context);
        g_main_context_unref(context);
    }

    mutable std::mutex mutex_;
    State state_ = State::Starting;
    GMainLoop* loop_ = nullptr;
    std::vector<std::string> items_;
    std::thread thread_;
};

struct MenuEntry {
    int id;
    std::string label;
    bool enabled;
};

struct Geometry {
    int x = -1, y = -1, width = 0, height = 0;
};

class TrayTest : public RealAppTest {
protected:
    void SetUp() override
    {
        RealAppTest::SetUp();
        if (IsSkipped())
            return;
        server->route("/home", HttpPage::html("Home", "<p style='font:32px sans-serif'>Popup browser</p>"));
        bus = GRef<GDBusConnection>::adopt(g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr));
    }

    AppBundle makeApp(const std::string& name, bool trayMode)
    {
        AppBundle app(env->root(), name);
        app.writeDataFile("settings.json", {{"main_url", server->url("/home")}});
        app.writeDataFile("behavior.json", {{"version", 1.1},
                                            {"statusBarKey", trayMode},
                                            {"POPOVER_W_KEY", 500},
                                            {"POPOVER_H_KEY", 320}});
        return app;
    }

    // Asynchronous, the main loop running meanwhile: the item may be this
    // process's own. A call that may fail says so (`mayFail`).
    GVariant* call(const std::string& service, const char* path, const char* iface, const char* method,
                   GVariant* params, const GVariantType* reply = nullptr, bool mayFail = false)
    {
        struct Answer {
            GVariant* value = nullptr;
            GError* error = nullptr;
            bool done = false;
        };
        auto answer = std::make_shared<Answer>(); // outlives a wait that gives up
        g_dbus_connection_call(bus.get(), service.c_str(), path, iface, method, params, reply, G_DBUS_CALL_FLAGS_NONE,
                               10000, nullptr,
                               +[](GObject* source, GAsyncResult* result, gpointer data) {
                                   std::unique_ptr<std::shared_ptr<Answer>> a(static_cast<std::shared_ptr<Answer>*>(data));
                                   (*a)->value = g_dbus_connection_call_finish(G_DBUS_CONNECTION(source), result,
                                                                               &(*a)->error);
                                   (*a)->done = true;
                               },
                               new std::shared_ptr<Answer>(answer));
        waitUntil([&] { return answer->done; }, 12s);
        EXPECT_TRUE(answer->value || mayFail) << method << ": " << (answer->error ? answer->error->message : "no answer");
        g_clear_error(&answer->error);
        return std::exchange(answer->value, nullptr);
    }
    void callAndForget(const std::string& service, const char* path, const char* iface, const char* method,
                       GVariant* params)
    {
        if (GVariant* r = call(service, path, iface, method, params))
            g_variant_unref(r);
    }
    void activate(const std::string& item, int x, int y)
    {
        callAndForget(item, "/StatusNotifierItem", "org.kde.StatusNotifierItem", "Activate",
                      g_variant_new("(ii)", x, y));
    }
    GVariant* itemProperty(const std::string& item, const char* name, bool mayFail = false)
    {
        GVariant* r = call(item, "/StatusNotifierItem", "org.freedesktop.DBus.Properties", "Get",
                           g_variant_new("(ss)", "org.kde.StatusNotifierItem", name), G_VARIANT_TYPE("(v)"), mayFail);
        GVariant* value = nullptr;
        if (r) {
            g_variant_get(r, "(v)", &value);
            g_variant_unref(r);
        }
        return value;
    }
    // The item's icon as a tray host reads it: the first pixmap's ARGB
    // bytes; none while the item is not on the bus yet.
    std::vector<uint8_t> firstPixmap(const std::string& item)
    {
        std::vector<uint8_t> out;
        GVariant* pixmaps = itemProperty(item, "IconPixmap", true);
        if (pixmaps && g_variant_n_children(pixmaps) > 0) {
            GVariant* bytes = nullptr;
            g_variant_get_child(pixmaps, 0, "(ii@ay)", nullptr, nullptr, &bytes);
            gsize n = 0;
            auto* p = static_cast<const uint8_t*>(g_variant_get_fixed_array(bytes, &n, 1));
            out.assign(p, p + n);
            g_variant_unref(bytes);
        }
        if (pixmaps)
            g_variant_unref(pixmaps);
        return out;
    }
    std::vector<MenuEntry> menuOf(const std::string& item)
    {
        std::vector<MenuEntry> out;
        GVariant* r = call(item, "/MenuBar", "com.canonical.dbusmenu", "GetLayout",
                           g_variant_new("(ii@as)", 0, -1, g_variant_new_strv(nullptr, 0)));
        if (!r)
            return out;
        GVariant* root = g_variant_get_child_value(r, 1);
        GVariant* children = g_variant_get_child_value(root, 2);
        for (gsize i = 0; i < g_variant_n_children(children); ++i) {
            GVariant* boxed = g_variant_get_child_value(children, i);
            GVariant* child = g_variant_get_variant(boxed);
            MenuEntry e {};
            GVariant* props = nullptr;
            g_variant_get(child, "(i@a{sv}av)", &e.id, &props, nullptr);
            const char* label = "";
            g_variant_lookup(props, "label", "&s", &label);
            e.label = label;
            gboolean enabled = TRUE;
            g_variant_lookup(props, "enabled", "b", &enabled);
            e.enabled = enabled;
            out.push_back(e);
            g_variant_unref(props);
            g_variant_unref(child);
            g_variant_unref(boxed);
        }
        g_variant_unref(children);
        g_variant_unref(root);
        g_variant_unref(r);
        return out;
    }
    void clickMenu(const std::string& item, int id)
    {
        callAndForget(item, "/MenuBar", "com.canonical.dbusmenu", "Event",
                      g_variant_new("(isvu)", id, "clicked", g_variant_new_int32(0), 0u));
    }
    static Geometry geometryOf(const std::string& window)
    {
        auto r = runProgram({"xdotool", "getwindowgeometry", window}, 5s);
        std::smatch m;
        Geometry g;
        static const std::regex pos(R"(Position: (-?\d+),(-?\d+))"), size(R"(Geometry: (\d+)x(\d+))");
        if (std::regex_search(r.out, m, pos))
            g.x = std::stoi(m[1]), g.y = std::stoi(m[2]);
        if (std::regex_search(r.out, m, size))
            g.width = std::stoi(m[1]), g.height = std::stoi(m[2]);
        return g;
    }
    bool waitGeometry(const std::string& window, int width, int height)
    {
        return waitUntil([&] {
            Geometry g = geometryOf(window);
            return g.width == width && g.height == height;
        }, 10s);
    }

    GRef<GDBusConnection> bus;
};

TEST_F(TrayTest, ItemTogglesThePopupBrowserWhichKeepsItsSize)
{
    TrayWatcher watcher;
    AppBundle app = makeApp("Tray", true);
    // An orange icon, as the creation tool writes it.
    GdkPixbuf* orange = gdk_pixbuf_new(GDK_COLORSPACE_RGB, TRUE, 8, 128, 128);
    gdk_pixbuf_fill(orange, 0xff8000ff);
    ASSERT_TRUE(KTIcns::writeFile(app.path() + "/Contents/Resources/AppIcon.icns", orange, {128}));
    g_object_unref(orange);
    launch(app);
    ASSERT_TRUE(waitUntil([&] { return watcher.items().size() == 1; }, 20s)) << "the item registers";
    const std::string item = watcher.items().front();
    EXPECT_TRUE(visibleWindows(app.bundleIdentifier()).empty()) << "no window in menu-bar mode";

    // The tray host's view: the menu, its icon as pixels.
    std::vector<std::string> labels;
    for (const auto& e : menuOf(item))
        labels.push_back(e.label);
    EXPECT_EQ(labels, (std::vector<std::string> {"Add Tab", "Switch to Regular Mode", "Preferences", "Quit"}));
    std::vector<uint8_t> argb = firstPixmap(item);
    ASSERT_GE(argb.size(), 4u) << "the app's icon as pixels";
    EXPECT_EQ(std::vector<int>(argb.begin(), argb.begin() + 4), (std::vector<int> {255, 255, 128, 0}))
        << "ARGB, network order";

    // Activate: the popup hangs centred below the point, at the stored size,
    // with the home page in it.
    KTRect area = KTScreen::mainWorkArea().value_or(KTRect {});
    const int x = int(area.x + area.width / 2);
    activate(item, x, int(area.y));
    ASSERT_TRUE(waitWindows(app, 1)) << "Activate shows the popup";
    const std::string popup = visibleWindows(app.bundleIdentifier()).front();
    ASSERT_TRUE(waitGeometry(popup, 500, 320)) << "POPOVER_W_KEY x POPOVER_H_KEY";
    Geometry g = geometryOf(popup);
    EXPECT_NEAR(g.x, x - 250, 1);
    EXPECT_NEAR(g.y, area.y + 4, 1);
    EXPECT_TRUE(waitUntil([&] { return server->hits("/home") >= 1; }, 20s)) << "the page shows in the popup";

    // Activate again hides it; Escape hides it too.
    activate(item, x, int(area.y));
    EXPECT_TRUE(waitWindows(app, 0)) << "a second Activate hides it";
    activate(item, x, int(area.y));
    ASSERT_TRUE(waitWindows(app, 1));
    ASSERT_TRUE(typeKeys(app.bundleIdentifier(), "Escape"));
    EXPECT_TRUE(waitWindows(app, 0)) << "Escape hides it";

    // The round handle: 10 to the right widens by 20 (centred), 25 down
    // grows by 25; the size is kept for the next launch.
    activate(item, x, int(area.y));
    ASSERT_TRUE(waitWindows(app, 1));
    const std::string again = visibleWindows(app.bundleIdentifier()).front();
    ASSERT_TRUE(waitGeometry(again, 500, 320));
    g = geometryOf(again);
    const int hx = g.x + g.width - 20 + 8, hy = g.y + g.height - 6 - 8;
    for (const auto& step : std::vector<std::vector<std::string>> {
             {"mousemove", "--sync", std::to_string(hx), std::to_string(hy)},
             {"mousedown", "1"},
             {"mousemove", "--sync", std::to_string(hx + 5), std::to_string(hy + 10)},
             {"mousemove", "--sync", std::to_string(hx + 10), std::to_string(hy + 25)},
             {"mouseup", "1"}}) {
        std::vector<std::string> args {"xdotool"};
        args.insert(args.end(), step.begin(), step.end());
        runProgram(args, 5s);
        drainEvents();
    }
    EXPECT_TRUE(waitGeometry(again, 520, 345)) << "dragged by (10, 25)";
    EXPECT_NEAR(geometryOf(again).x, x - 260, 1) << "still centred on the item";
    EXPECT_TRUE(waitUntil([&] {
        KTJson b = app.readDataFile("behavior.json");
        return json::doubleFor(b, "POPOVER_W_KEY") == 520 && json::doubleFor(b, "POPOVER_H_KEY") == 345;
    }, 10s)) << app.readDataFile("behavior.json").dump();

    // Another program takes the focus: the popup goes, as a popover would.
    runProgram({"xdotool", "windowactivate", "--sync", again}, 5s);
    GtkWidget* other = focusOtherWindow();
    EXPECT_TRUE(waitWindows(app, 0)) << "focus loss hides it";
    gtk_widget_destroy(other);

    // A tray that asks the item for its menu gets it at its point.
    callAndForget(item, "/StatusNotifierItem", "org.kde.StatusNotifierItem", "ContextMenu",
                  g_variant_new("(ii)", x, int(area.y)));
    ASSERT_TRUE(waitWindows(app, 1)) << "ContextMenu pops the menu up";
    g = geometryOf(visibleWindows(app.bundleIdentifier()).front());
    EXPECT_NEAR(g.x, x, 1);
    EXPECT_NEAR(g.y, area.y, 1);
}

TEST_F(TrayTest, SwitchingToRegularModeRelaunchesIntoAWindowAndBack)
{
    TrayWatcher watcher;
    AppBundle app = makeApp("Switch", true);
    AppProcess& p = launch(app);
    ASSERT_TRUE(waitUntil([&] { return watcher.items().size() == 1; }, 20s));
    const std::string item = watcher.items().front();
    auto menu = menuOf(item);
    ASSERT_EQ(menu.size(), 4u);
    ASSERT_EQ(menu[1].label, "Switch to Regular Mode");
    EXPECT_TRUE(menu[0].enabled && menu[1].enabled && menu[3].enabled);
    // No icon file: the theme's browser icon by name.
    GVariant* name = itemProperty(item, "IconName");
    ASSERT_TRUE(name);
    EXPECT_STREQ(g_variant_get_string(name, nullptr), "web-browser");
    g_variant_unref(name);

    // Odd requests from a host: an unknown item, a point far off the screen.
    GError* error = nullptr;
    GVariant* none = g_dbus_connection_call_sync(bus.get(), item.c_str(), "/MenuBar", "com.canonical.dbusmenu",
                                                 "GetLayout", g_variant_new("(ii@as)", 99, -1, g_variant_new_strv(nullptr, 0)),
                                                 nullptr, G_DBUS_CALL_FLAGS_NONE, 5000, nullptr, &error);
    EXPECT_FALSE(none);
    EXPECT_TRUE(error && strstr(error->message, "no such menu item")) << (error ? error->message : "");
    g_clear_error(&error);
    clickMenu(item, 99);
    activate(item, -5000, 99999);
    ASSERT_TRUE(waitWindows(app, 1));
    KTRect area = KTScreen::mainWorkArea().value_or(KTRect {});
    Geometry g = geometryOf(visibleWindows(app.bundleIdentifier()).front());
    EXPECT_EQ(g.x, int(area.x)) << "held inside the work area";
    EXPECT_EQ(g.y + g.height, int(area.y + area.height));
    activate(item, 0, 0);
    ASSERT_TRUE(waitWindows(app, 0));

    clickMenu(item, menu[1].id);
    int status = -1;
    ASSERT_TRUE(p.waitExit(10s, &status)) << "the app leaves to relaunch";
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    EXPECT_EQ(json::boolFor(app.readDataFile("behavior.json"), "statusBarKey", true), false) << "saved before leaving";
    ASSERT_TRUE(waitWindows(app, 1, 30s)) << "relaunched into a regular window";
    EXPECT_EQ(watcher.items().size(), 1u) << "no tray item in regular mode";

    // "Show in Menu Bar" (the app's action, as its menus run it) goes back
    // into the tray without a restart.
    std::string path = "/" + app.bundleIdentifier();
    std::replace(path.begin(), path.end(), '.', '/');
    callAndForget(app.bundleIdentifier(), path.c_str(), "org.gtk.Actions", "Activate",
                  g_variant_new("(s@av@a{sv})", "status-bar-mode", g_variant_new_array(G_VARIANT_TYPE_VARIANT, nullptr, 0),
                                g_variant_new_array(G_VARIANT_TYPE("{sv}"), nullptr, 0)));
    EXPECT_TRUE(waitUntil([&] { return watcher.items().size() == 2; }, 20s)) << "a new item registers";
    EXPECT_TRUE(waitWindows(app, 0)) << "the window leaves the screen for the tray";
    EXPECT_EQ(json::boolFor(app.readDataFile("behavior.json"), "statusBarKey"), true);
}

TEST_F(TrayTest, WithoutATrayTheAppSaysSoAndOpensAWindow)
{
    AppBundle app = makeApp("NoTray", true);
    AppProcess& p = launch(app);
    ASSERT_TRUE(waitWindows(app, 1)) << "a window rather than nothing";
    EXPECT_TRUE(waitUntil([&] { return server->hits("/home") >= 1; }, 20s));
    EXPECT_NE(p.log().find("menu-bar mode: no status notifier watcher is running"), std::string::npos) << p.log();
}

// The badge on the item's icon as a tray host reads it, the item in-process.
TEST_F(TrayTest, BadgeIsARedDotInTheUpperRightThatGoesAwayWhenEmpty)
{
    // A plain blue icon.
    GdkPixbuf* blue = gdk_pixbuf_new(GDK_COLORSPACE_RGB, TRUE, 8, 64, 64);
    gdk_pixbuf_fill(blue, 0x2040c0ff);
    KTStatusBarItemView view("test", "Test", {}, nullptr);
    view.setImage(blue, "");
    g_object_unref(blue);
    // 24 x 24 first, ARGB: the pixel at (x, y) starts at (y * 24 + x) * 4.
    auto pixel = [](const std::vector<uint8_t>& p, int x, int y) {
        size_t at = (size_t(y) * 24 + x) * 4;
        return std::vector<int> {p[at], p[at + 1], p[at + 2], p[at + 3]};
    };
    std::vector<uint8_t> plain;
    ASSERT_TRUE(waitUntil([&] { return (plain = firstPixmap(view.busName())).size() == 24 * 24 * 4; }));
    EXPECT_EQ(pixel(plain, 21, 2), (std::vector<int> {255, 0x20, 0x40, 0xc0}));

    view.setBadge("3");
    std::vector<uint8_t> badged = firstPixmap(view.busName());
    ASSERT_EQ(badged.size(), plain.size());
    std::vector<int> dot = pixel(badged, 21, 4);
    EXPECT_EQ(dot[0], 255);
    EXPECT_GT(dot[1], 180) << "red";
    EXPECT_LT(dot[3], 80);
    EXPECT_EQ(pixel(badged, 2, 21), pixel(plain, 2, 21)) << "the rest of the icon is untouched";

    view.setBadge("");
    EXPECT_EQ(firstPixmap(view.busName()), plain);
}

} // namespace
} // namespace quilt::test
