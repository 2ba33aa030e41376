// The creation window: its form as arguments the real quilt-create accepts,
// the probe's answer read defensively, and the window itself driven with
// real X input, making and removing apps through the real tool in a
// private HOME. The site probe is a stand-in script (QUILT_CREATE_PROBE)
// that answers for a real site on 127.0.0.1.
#include "support/GuiTest.h"

#include "KTCreateOptions.h"
#include "KTCreationRequest.h"
#include "KTCreationWindow.h"
#include "KTProbedSite.h"
#include "core/config/KTBundle.h"
#include "core/config/KTFileUtil.h"
#include "core/config/KTPlist.h"

#include <gtk/gtk.h>
#include <sys/stat.h>

namespace quilt::test {
namespace {

TEST(KTCreationRequest, FormBecomesArgumentsTheToolAccepts)
{
    EXPECT_EQ(KTCreationRequest::normaliseAddress("  example.org/news "), "https://example.org/news");
    EXPECT_EQ(KTCreationRequest::normaliseAddress("http://127.0.0.1:8080/"), "http://127.0.0.1:8080/");
    EXPECT_EQ(KTCreationRequest::normaliseAddress(" \n"), "");

    KTCreationRequest r;
    r.address = "mail.example.org";
    r.name = "My Mail";
    r.iconPath = " /tmp/icon.png ";
    r.windowSize = "1280 x 800";
    r.allowPatterns = "*.example.org/*\n\n  ://example.com/  \n";
    r.menuBarMode = true;
    r.userScript = "/tmp/tweak.js";
    const auto o = KTCreateOptions::parse(r.arguments());
    EXPECT_EQ(o.command, KTCreateOptions::Command::Create);
    EXPECT_EQ(o.url, "https://mail.example.org");
    EXPECT_EQ(o.name, "My Mail");
    EXPECT_EQ(o.iconPath, "/tmp/icon.png");
    EXPECT_EQ(o.windowSize, "1280x800");
    EXPECT_EQ(o.allowPatterns, (std::vector<std::string>{"*.example.org/*", "://example.com/"}));
    EXPECT_TRUE(o.statusBarOption);
    EXPECT_EQ(o.userScriptPath, "/tmp/tweak.js");
    EXPECT_EQ(o.scriptPattern, "*"); // a script without a pattern runs everywhere

    // Empty fields leave the tool's defaults; a blank name is no name.
    KTCreationRequest bare;
    bare.address = "https://example.org";
    bare.name = "   ";
    bare.scriptPattern = "*.example.org*"; // no script: no pattern either
    EXPECT_EQ(bare.arguments(), (std::vector<std::string>{"--url", "https://example.org"}));
}

TEST(KTProbedSite, ReadsTheProbeAndNothingElse)
{
    auto site = KTProbedSite::parse(R"({"url":"https://example.org/","name":"Example","shortName":"Ex",
        "iconFile":"/tmp/i.png","themeColor":"#fff","startUrl":"/","scope":"/","warnings":["no icon",3,null]})");
    ASSERT_TRUE(site);
    EXPECT_EQ(site->name, "Example");
    EXPECT_EQ(site->shortName, "Ex");
    EXPECT_EQ(site->iconFile, "/tmp/i.png");
    EXPECT_EQ(site->warnings, std::vector<std::string>{"no icon"});

    auto bare = KTProbedSite::parse(R"({"url":"https://example.org/","name":7,"iconFile":null})");
    ASSERT_TRUE(bare);
    EXPECT_EQ(bare->name, "");
    EXPECT_FALSE(bare->iconFile);
    // An older tool's refusal, a truncated answer, other JSON: no site.
    for (const char* text : {"quilt-create: unknown option --probe (see --help)\n", "{\"name\":\"Exa", "[1,2]", ""})
        EXPECT_FALSE(KTProbedSite::parse(text)) << text;
}

// Widgets under `root`, `root` first, until `stop` holds for one: that one.
GtkWidget* walk(GtkWidget* root, const std::function<bool(GtkWidget*)>& stop)
{
    if (stop(root))
        return root;
    GtkWidget* found = nullptr;
    if (GTK_IS_CONTAINER(root)) {
        GList* children = gtk_container_get_children(GTK_CONTAINER(root));
        for (GList* c = children; c && !found; c = c->next)
            found = walk(GTK_WIDGET(c->data), stop);
        g_list_free(children);
    }
    return found;
}

// A widget of the window by its id in the .ui file.
GtkWidget* part(GtkWidget* root, const char* id)
{
    return walk(root, [&](GtkWidget* w) {
        return GTK_IS_BUILDABLE(w) && g_strcmp0(gtk_buildable_get_name(GTK_BUILDABLE(w)), id) == 0;
    });
}

class CreationWindow : public testing::Test {
protected:
    void SetUp() override
    {
        const char* display = std::getenv("DISPLAY");
        if (!display || !*display || !gtk_init_check(nullptr, nullptr))
            GTEST_SKIP() << "no display: run inside tests/desktop-session";
        env = std::make_unique<TestEnvironment>();
        server = std::make_unique<HttpServer>();
        server->route("/", HttpPage::html("Local Site"));
        siteUrl = server->url("/");
        // The stand-in answers as the probe would for this site, and notes
        // every address it was asked about.
        iconFile = env->root() + "/site-icon.png";
        GError* error = nullptr;
        GdkPixbuf* icon = gdk_pixbuf_new(GDK_COLORSPACE_RGB, TRUE, 8, 64, 64);
        gdk_pixbuf_fill(icon, 0x2060c0ff);
        ASSERT_TRUE(gdk_pixbuf_save(icon, iconFile.c_str(), "png", &error, nullptr));
        g_object_unref(icon);
        probeLog = env->root() + "/probed";
        const std::string probe = env->root() + "/probe-stand-in";
        // A "/broken" page offers an icon that is no image.
        env->writeFile(env->root() + "/not-an-image.png", "<html>");
        env->writeFile(probe, "#!/bin/sh\n[ \"$1\" = --probe ] || exit 2\necho \"$2\" >> '" + probeLog + "'\n"
                              "icon='" + iconFile + "'\ncase \"$2\" in *broken) icon='" + env->root()
                              + "/not-an-image.png';; esac\n"
                                "printf '{\"url\":\"%s\",\"name\":\"Local Site\",\"shortName\":\"Local\","
                                "\"iconFile\":\"%s\",\"warnings\":[]}\\n' \"$2\" \"$icon\"\n");
        ::chmod(probe.c_str(), 0755);
        ::setenv("QUILT_CREATE_PROBE", probe.c_str(), 1);
        ::setenv("QUILT_CREATE", QUILT_CREATE_EXE, 1);
        ::unsetenv("QUILT_TEMPLATE");
    }
    void TearDown() override
    {
        window.reset();
        drainEvents();
        ::unsetenv("QUILT_CREATE_PROBE");
        ::unsetenv("QUILT_CREATE");
    }

    GtkWidget* open()
    {
        window = std::make_unique<KTCreationWindow>();
        window->present();
        GtkWidget* w = GTK_WIDGET(window->window());
        EXPECT_TRUE(waitUntil([&] { return gtk_window_is_active(GTK_WINDOW(w)); }, 10s)
                    || runProgram({"xdotool", "windowactivate", xidOf(w)}, 5s).exitCode == 0);
        return w;
    }
    GtkWidget* widget(const char* id) { return part(GTK_WIDGET(window->window()), id); }
    std::string entry(const char* id) { return gtk_entry_get_text(GTK_ENTRY(widget(id))); }
    std::string label(const char* id) { return gtk_label_get_text(GTK_LABEL(widget(id))); }
    // The names the list shows, in order.
    std::vector<std::string> rows()
    {
        std::vector<std::string> names;
        GList* children = gtk_container_get_children(GTK_CONTAINER(widget("made_apps")));
        for (GList* c = children; c; c = c->next) {
            GtkWidget* label = walk(GTK_WIDGET(c->data), [](GtkWidget* w) { return GTK_IS_LABEL(w); });
            names.push_back(label ? gtk_label_get_text(GTK_LABEL(label)) : "");
        }
        g_list_free(children);
        return names;
    }
    static std::vector<std::string> onDisk()
    {
        std::vector<std::string> names;
        for (const auto& app : KTAppRegistry::list({KTAppRegistry::defaultAppsFolder()}))
            names.push_back(app.name);
        return names;
    }
    std::vector<std::string> probed() const
    {
        auto text = KTFileUtil::read(probeLog).value_or("");
        std::vector<std::string> lines;
        for (size_t at = 0, end; (end = text.find('\n', at)) != std::string::npos; at = end + 1)
            lines.push_back(text.substr(at, end - at));
        return lines;
    }
    bool type(GtkWidget* w, const std::string& text) { return xdotoolIn(w, {"type", "--delay", "15", text}); }
    bool key(GtkWidget* w, const std::string& keys) { return xdotoolIn(w, {"key", keys}); }
    std::string dataHome() const { return env->home() + "/.local/share"; }

    std::unique_ptr<TestEnvironment> env;
    std::unique_ptr<HttpServer> server;
    std::unique_ptr<KTCreationWindow> window;
    std::string siteUrl, iconFile, probeLog;
};

TEST_F(CreationWindow, TypedAddressFillsInAndCreateMakesTheApp)
{
    GtkWidget* w = open();
    EXPECT_TRUE(gtk_widget_is_focus(widget("address"))) << "typing starts at the address";
    ASSERT_TRUE(type(w, siteUrl));
    ASSERT_TRUE(waitUntil([&] { return entry("name") == "Local Site"; })) << entry("name");
    EXPECT_EQ(label("icon_note"), "the site's icon");
    // Asked once, about the whole address, not once a keystroke.
    EXPECT_EQ(probed(), std::vector<std::string>{siteUrl});

    ASSERT_TRUE(key(w, "Return")); // the default button
    ASSERT_TRUE(waitUntil([&] { return label("status").rfind("Made ", 0) == 0; }, 60s)) << label("status");
    EXPECT_TRUE(gtk_widget_get_sensitive(widget("create")));
    EXPECT_EQ(label("status"), "Made “Local Site”: it is in your application menu.");
    EXPECT_EQ(rows(), std::vector<std::string>{"Local Site"});
    EXPECT_EQ(onDisk(), std::vector<std::string>{"Local Site"});

    const std::string bundle = KTAppRegistry::defaultAppsFolder() + "/Local Site.app";
    const auto config = KTPlist::readFile(bundle + "/Contents/Resources/QuiltCreationToolSettings.plist");
    ASSERT_TRUE(config) << "no app made at " << bundle;
    EXPECT_EQ((*config)["URL"], siteUrl);
    const std::string id = KTBundle(bundle).bundleIdentifier();
    EXPECT_TRUE(KTFileUtil::exists(KTAppRegistry::desktopFilePath(id)));
    // The site's icon, not a letter: its colour is in the exported launcher icon.
    GdkPixbuf* launcher = gdk_pixbuf_new_from_file(KTAppRegistry::iconPath(id).c_str(), nullptr);
    ASSERT_TRUE(launcher);
    const guchar* px = gdk_pixbuf_get_pixels(launcher) + (gdk_pixbuf_get_height(launcher) / 2) * gdk_pixbuf_get_rowstride(launcher)
        + (gdk_pixbuf_get_width(launcher) / 2) * gdk_pixbuf_get_n_channels(launcher);
    EXPECT_EQ((int(px[0]) << 16) | (int(px[1]) << 8) | px[2], 0x2060c0);
    g_object_unref(launcher);

    // Enter on the chosen app opens it through its menu entry (here made to
    // note that it ran instead of starting a browser engine), not Create.
    const std::string desktop = KTAppRegistry::desktopFilePath(id), ran = env->root() + "/ran";
    std::string text = KTFileUtil::read(desktop).value_or("");
    const size_t exec = text.find("\nExec=");
    ASSERT_NE(exec, std::string::npos);
    text.replace(exec + 6, text.find('\n', exec + 1) - exec - 6, "touch " + ran);
    env->writeFile(desktop, text);
    ASSERT_TRUE(key(w, "alt+s"));
    ASSERT_TRUE(key(w, "Return"));
    EXPECT_TRUE(waitUntil([&] { return KTFileUtil::exists(ran); })) << label("status");
    EXPECT_EQ(label("status"), "Opening “Local Site”…");
}

TEST_F(CreationWindow, PersonsOwnNameStaysAndToolErrorsAreShown)
{
    GtkWidget* w = open();
    // Each underlined letter leads to one place: a shared one would make
    // Alt+letter cycle between fields.
    std::vector<guint> keys;
    walk(w, [&](GtkWidget* label) {
        if (GTK_IS_LABEL(label) && gtk_label_get_mnemonic_keyval(GTK_LABEL(label)) != GDK_KEY_VoidSymbol)
            keys.push_back(gdk_keyval_to_lower(gtk_label_get_mnemonic_keyval(GTK_LABEL(label))));
        return false;
    });
    std::sort(keys.begin(), keys.end());
    EXPECT_EQ(std::adjacent_find(keys.begin(), keys.end()), keys.end()) << "a letter is underlined twice";
    EXPECT_GE(keys.size(), 10u);

    ASSERT_TRUE(key(w, "alt+n"));
    ASSERT_TRUE(type(w, "Mine"));
    ASSERT_TRUE(key(w, "alt+a"));
    ASSERT_TRUE(type(w, siteUrl));
    ASSERT_TRUE(key(w, "Tab")); // leaving the field asks at once
    ASSERT_TRUE(waitUntil([&] { return label("icon_note") == "the site's icon"; }));
    EXPECT_EQ(entry("name"), "Mine");

    // The tool's own refusal, shown as its one line; nothing is made.
    ASSERT_TRUE(key(w, "alt+w"));
    ASSERT_TRUE(type(w, "12x12"));
    ASSERT_TRUE(key(w, "alt+c"));
    ASSERT_TRUE(waitUntil([&] { return label("status").find("bad --window-size") != std::string::npos; }, 60s))
        << label("status");
    EXPECT_EQ(label("status").find("quilt-create:"), std::string::npos);
    EXPECT_TRUE(gtk_widget_get_sensitive(widget("create")));
    EXPECT_EQ(onDisk(), std::vector<std::string>{});
}

TEST_F(CreationWindow, RemoveAsksThenKeepsOrDeletesTheData)
{
    std::map<std::string, std::string> dataOf;
    for (const char* name : {"Alpha", "Beta", "Gamma"}) {
        auto r = runProgram({QUILT_CREATE_EXE, "--url", siteUrl, "--name", name});
        ASSERT_EQ(r.exitCode, 0) << r.err;
        dataOf[name] = dataHome() + "/Quilt/" + KTBundle(r.outLines().back()).uniqueIdentifier().value_or("?");
        ASSERT_TRUE(KTFileUtil::exists(dataOf[name] + "/settings.json"));
    }
    GtkWidget* w = open();
    ASSERT_EQ(rows(), (std::vector<std::string>{"Alpha", "Beta", "Gamma"}));
    EXPECT_FALSE(gtk_widget_get_sensitive(widget("remove_app"))) << "nothing chosen yet";

    auto rowOf = [&](size_t i) {
        return GTK_WIDGET(gtk_list_box_get_row_at_index(GTK_LIST_BOX(widget("made_apps")), int(i)));
    };
    // Chooses an app with the mouse, or from the keyboard (a key list
    // after Alt+S), and presses Alt+R.
    auto askRemoving = [&](size_t i, const std::string& name, const char* keys = nullptr) -> GtkWidget* {
        // (A second click on the same place would hang: xdotool waits
        // forever for a pointer to move where it already is.)
        if (!(keys ? key(w, "alt+s") && key(w, keys) : clickWidget(rowOf(i)))
            || !waitUntil([&] { return gtk_list_box_get_selected_row(GTK_LIST_BOX(widget("made_apps")))
                                       == GTK_LIST_BOX_ROW(rowOf(i)); })
            || !key(w, "alt+r"))
            return nullptr;
        GtkWidget* dialog = nullptr;
        waitUntil([&] {
            dialog = findWindow([&](GtkWidget* d) { return GTK_IS_MESSAGE_DIALOG(d) && textOf(d) == "Remove “" + name + "”?"; });
            return dialog && gtk_window_is_active(GTK_WINDOW(dialog));
        });
        return dialog;
    };
    auto removed = [&](const std::string& name) {
        return waitUntil([&] {
            auto now = rows();
            return std::find(now.begin(), now.end(), name) == now.end() && label("status").rfind("Removed", 0) == 0;
        }, 60s);
    };

    // Escape takes nothing away.
    GtkWidget* dialog = askRemoving(1, "Beta");
    ASSERT_TRUE(dialog);
    ASSERT_TRUE(key(dialog, "Escape"));
    ASSERT_TRUE(waitUntil([&] { return !findWindow([](GtkWidget* d) { return GTK_IS_MESSAGE_DIALOG(d); }); }));
    drainEvents();
    EXPECT_EQ(rows(), (std::vector<std::string>{"Alpha", "Beta", "Gamma"}));

    dialog = askRemoving(0, "Alpha", "Up"); // from Beta, still chosen
    ASSERT_TRUE(dialog);
    ASSERT_TRUE(key(dialog, "alt+k"));
    ASSERT_TRUE(removed("Alpha"));
    EXPECT_EQ(label("status"), "Removed “Alpha”; its data is kept.");
    EXPECT_TRUE(KTFileUtil::exists(dataOf["Alpha"] + "/settings.json"));

    dialog = askRemoving(1, "Gamma", "Down"); // none chosen: from the first
    ASSERT_TRUE(dialog);
    ASSERT_TRUE(key(dialog, "alt+w"));
    ASSERT_TRUE(removed("Gamma"));
    EXPECT_FALSE(KTFileUtil::exists(dataOf["Gamma"]));
    EXPECT_TRUE(KTFileUtil::exists(dataOf["Beta"] + "/settings.json"));
    EXPECT_EQ(rows(), std::vector<std::string>{"Beta"});
    EXPECT_EQ(onDisk(), std::vector<std::string>{"Beta"});

    // An app made from a terminal meanwhile is listed once the window is
    // used again.
    ASSERT_EQ(runProgram({QUILT_CREATE_EXE, "--no-site-identity", "--url", siteUrl, "--name", "Delta"}).exitCode, 0);
    GtkWidget* other = gtk_window_new(GTK_WINDOW_TOPLEVEL);
    gtk_widget_show(other);
    runProgram({"xdotool", "windowactivate", "--sync", xidOf(other)}, 5s);
    EXPECT_TRUE(waitUntil([&] { return !gtk_window_is_active(GTK_WINDOW(w)); }));
    EXPECT_EQ(rows(), std::vector<std::string>{"Beta"});
    gtk_widget_destroy(other);
    runProgram({"xdotool", "windowactivate", "--sync", xidOf(w)}, 5s);
    EXPECT_TRUE(waitUntil([&] { return rows() == std::vector<std::string>{"Beta", "Delta"}; }));
}

// Making an app under a name already taken asks first: Escape leaves the old
// app as it was, Enter replaces it and its data stays.
TEST_F(CreationWindow, SameNameAsksBeforeReplacingAndKeepsTheData)
{
    auto made = runProgram({QUILT_CREATE_EXE, "--no-site-identity", "--url", siteUrl + "old", "--name", "Local Site"});
    ASSERT_EQ(made.exitCode, 0) << made.err;
    const std::string bundle = made.outLines().back();
    const auto uid = KTBundle(bundle).uniqueIdentifier();
    const std::string history = dataHome() + "/Quilt/" + uid.value_or("?") + "/history.json";
    env->writeFile(history, R"([{"url":"kept"}])");
    auto address = [&] {
        return KTPlist::readFile(bundle + "/Contents/Resources/QuiltCreationToolSettings.plist").value_or(KTJson())["URL"];
    };

    GtkWidget* w = open();
    ASSERT_TRUE(type(w, siteUrl));
    ASSERT_TRUE(waitUntil([&] { return entry("name") == "Local Site"; }));
    auto ask = [&]() -> GtkWidget* {
        GtkWidget* dialog = nullptr;
        if (key(w, "alt+c"))
            waitUntil([&] {
                dialog = findWindow([](GtkWidget* d) {
                    return GTK_IS_MESSAGE_DIALOG(d) && textOf(d) == "An app named “Local Site” already exists";
                });
                return dialog && gtk_window_is_active(GTK_WINDOW(dialog));
            }, 60s);
        return dialog;
    };

    GtkWidget* dialog = ask();
    ASSERT_TRUE(dialog) << label("status");
    ASSERT_TRUE(key(dialog, "Escape"));
    ASSERT_TRUE(waitUntil([&] { return !findWindow([](GtkWidget* d) { return GTK_IS_MESSAGE_DIALOG(d); }); }));
    EXPECT_EQ(label("status"), "“Local Site” is left as it was: give the new app another name to keep both.");
    EXPECT_TRUE(waitUntil([&] { return gtk_widget_is_focus(widget("name")); })) << "to type another name";
    EXPECT_EQ(address(), siteUrl + "old");

    dialog = ask();
    ASSERT_TRUE(dialog) << label("status");
    ASSERT_TRUE(key(dialog, "Return"));
    ASSERT_TRUE(waitUntil([&] { return label("status").rfind("Replaced ", 0) == 0; }, 60s)) << label("status");
    EXPECT_EQ(label("status"), "Replaced “Local Site”; its data is kept.");
    EXPECT_EQ(address(), siteUrl);
    EXPECT_EQ(KTBundle(bundle).uniqueIdentifier(), uid);
    EXPECT_EQ(KTFileUtil::read(history), R"([{"url":"kept"}])");
    EXPECT_EQ(rows(), std::vector<std::string>{"Local Site"});
    EXPECT_EQ(onDisk(), std::vector<std::string>{"Local Site"});
}

// A site icon that does not load must not make the tool refuse the app.
TEST_F(CreationWindow, UnreadableSiteIconGivesALetterIcon)
{
    GtkWidget* w = open();
    ASSERT_TRUE(type(w, siteUrl + "broken"));
    ASSERT_TRUE(key(w, "Tab"));
    ASSERT_TRUE(waitUntil([&] { return entry("name") == "Local Site"; }));
    EXPECT_EQ(label("icon_note"), "a letter icon: the site offers none that loads");
    // The letter the app will get, shown as it will look, not a stand-in.
    EXPECT_EQ(gtk_image_get_storage_type(GTK_IMAGE(widget("icon_preview"))), GTK_IMAGE_PIXBUF);
    ASSERT_TRUE(key(w, "alt+c"));
    ASSERT_TRUE(waitUntil([&] { return label("status").rfind("Made ", 0) == 0; }, 60s)) << label("status");
    EXPECT_EQ(onDisk(), std::vector<std::string>{"Local Site"});
}

// quilt-create alone, started from a desktop (no terminal), is the window;
// Control+W closes it and the program ends.
TEST_F(CreationWindow, ToolWithoutArgumentsOnADesktopOpensIt)
{
    const std::vector<std::string> search = {"xdotool", "search", "--onlyvisible", "--name", "^Quilt$"};
    bool shown = false;
    auto r = runProgram({QUILT_CREATE_EXE}, 60s, [&] {
        if (!shown && runProgram(search, 5s).exitCode == 0) {
            shown = true;
            auto activate = search;
            activate.insert(activate.end(), {"windowactivate", "--sync"});
            runProgram(activate, 5s);
            runProgram({"xdotool", "key", "ctrl+w"}, 5s);
        }
        return false;
    });
    EXPECT_TRUE(shown) << r.err;
    EXPECT_TRUE(r.exited && r.exitCode == 0) << "still open after Control+W: " << r.err;
    EXPECT_EQ(r.out, "");

    r = runProgram({QUILT_CREATE_EXE, "--window", "--url", siteUrl});
    EXPECT_EQ(r.exitCode, 2);
    EXPECT_EQ(r.err, "quilt-create: --window takes no other arguments\n");
}

// With the real tool answering: the site's manifest names the app and gives
// its icon, as a person pasting an address sees it.
TEST_F(CreationWindow, RealProbeFillsInTheManifestsNameAndIcon)
{
    ::unsetenv("QUILT_CREATE_PROBE");
    gchar* png = nullptr;
    gsize size = 0;
    ASSERT_TRUE(g_file_get_contents(iconFile.c_str(), &png, &size, nullptr));
    server->route("/app", HttpPage::bytes("<!doctype html><html><head><title>Page title</title>"
                                          "<link rel=manifest href=/app.webmanifest></head><body></body></html>",
                                          "text/html"));
    server->route("/app.webmanifest", HttpPage::bytes(R"({"name":"Manifest Mail","icons":[{"src":"/icon.png",)"
                                                      R"("sizes":"64x64","type":"image/png"}]})",
                                                      "application/manifest+json"));
    server->route("/icon.png", HttpPage::bytes(std::string(png, size), "image/png"));
    g_free(png);

    GtkWidget* w = open();
    ASSERT_TRUE(type(w, server->url("/app")));
    ASSERT_TRUE(key(w, "Tab"));
    ASSERT_TRUE(waitUntil([&] { return entry("name") == "Manifest Mail"; }, 20s)) << entry("name");
    EXPECT_EQ(label("icon_note"), "the site's icon");
    EXPECT_TRUE(probed().empty()) << "the stand-in was not asked";
}

} // namespace
} // namespace quilt::test
