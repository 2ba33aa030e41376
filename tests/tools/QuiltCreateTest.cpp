// quilt-create end to end: what one run leaves on disk, what a refused or
// failed run does not, and made apps as the rest of the system sees them.
#include "TestEnvironment.h"

#include "core/config/GRef.h"
#include "core/config/KTBundle.h"
#include "core/config/KTFileUtil.h"
#include "core/config/KTIcns.h"
#include "core/config/KTPlist.h"
#include "core/web/KTWhiteListManager.h"

#include <gio/gdesktopappinfo.h>
#include <gio/gio.h>
#include <csignal>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace quilt::test {
namespace {

// The built tool in a private HOME; the tests choose the template themselves.
class QuiltCreate : public testing::Test {
protected:
    QuiltCreate() { ::unsetenv("QUILT_TEMPLATE"); }

    TestEnvironment env;

    // Sites are not read here (there is no network); SiteIdentityTest reads them.
    ProgramResult tool(std::vector<std::string> args)
    {
        if (std::find(args.begin(), args.end(), "--url") != args.end())
            args.insert(args.begin(), "--no-site-identity");
        args.insert(args.begin(), QUILT_CREATE_EXE);
        return runProgram(args);
    }
    // Makes an app and expects success; returns the bundle path.
    std::string make(const std::vector<std::string>& args)
    {
        auto r = tool(args);
        EXPECT_EQ(r.exitCode, 0) << r.err;
        EXPECT_EQ(r.err, "");
        return r.outLines().empty() ? std::string() : r.outLines().back();
    }
    std::string dataHome() const { return env.home() + "/.local/share"; }
    std::string appsFolder() const { return dataHome() + "/quilt/apps"; }
    std::string applicationsFolder() const { return dataHome() + "/applications"; }
    std::string dataFolderOf(const std::string& uid) const { return dataHome() + "/Quilt/" + uid; }
    static std::vector<std::string> entries(const std::string& folder) { return folderEntries(folder); }
    std::vector<std::string> desktopFiles() const
    {
        std::vector<std::string> out;
        for (const auto& name : entries(applicationsFolder()))
            if (name.ends_with(".desktop"))
                out.push_back(name);
        return out;
    }
    static std::string uniqueIdOf(const std::string& b) { return KTBundle(b).uniqueIdentifier().value_or(""); }
    static std::string bundleIdOf(const std::string& b) { return KTBundle(b).bundleIdentifier(); }
    static KTJson plist(const std::string& path) { return KTPlist::readFile(path).value_or(KTJson()); }
    // The named keys of an object, absent ones as null: one comparison for many fields.
    static KTJson pick(const KTJson& j, std::initializer_list<const char*> keys)
    {
        KTJson out = KTJson::object();
        for (const char* k : keys)
            out[k] = j.contains(k) ? j[k] : KTJson();
        return out;
    }
    std::string file(const std::string& name, const std::string& content)
    {
        env.writeFile(env.root() + "/" + name, content);
        return env.root() + "/" + name;
    }
};


bool isExecutable(const std::string& path) { return ::access(path.c_str(), X_OK) == 0; }

int pngWidth(const std::string& data)
{
    auto loader = GRef<GdkPixbufLoader>::adopt(gdk_pixbuf_loader_new_with_type("png", nullptr));
    gdk_pixbuf_loader_write(loader.get(), reinterpret_cast<const guchar*>(data.data()), data.size(), nullptr);
    if (!gdk_pixbuf_loader_close(loader.get(), nullptr))
        return -1;
    return gdk_pixbuf_get_width(gdk_pixbuf_loader_get_pixbuf(loader.get()));
}

TEST_F(QuiltCreate, MakesACompleteBundle)
{
    const std::string bundle = make({"--url", "https://www.example.org/home", "--window-size", "1280x800",
                                     "--opacity", "80", "--status-bar-option"});
    EXPECT_EQ(bundle, appsFolder() + "/www.example.org.app");

    // Layout: the template's parts, the app's own files, and one copy of
    // the template, not nested again.
    const std::string c = bundle + "/Contents";
    EXPECT_TRUE(isExecutable(c + "/MacOS/DefaultApp"));
    EXPECT_TRUE(KTFileUtil::isDirectory(c + "/Frameworks"));
    for (const char* res : {"rules.json", "Base.lproj", "Scripts/userscripts.json", "AppIcon.icns",
                            "QuiltCreationToolSettings.plist", "DefaultApp.app/Contents/Info.plist"})
        EXPECT_TRUE(KTFileUtil::exists(c + "/Resources/" + res)) << res;
    EXPECT_TRUE(isExecutable(c + "/Resources/DefaultApp.app/Contents/MacOS/DefaultApp"));
    EXPECT_FALSE(KTFileUtil::exists(c + "/Resources/DefaultApp.app/Contents/Resources/DefaultApp.app"));
    EXPECT_FALSE(KTFileUtil::exists(c + "/Resources/EnterpriseSettings.plist"));
    EXPECT_EQ(entries(appsFolder()), std::vector<std::string>{"www.example.org.app"}); // no staging left

    // Info.plist: the app's name and id, the template's versions and keys.
    const KTJson info = plist(c + "/Info.plist");
    const KTJson templ = plist(std::string(QUILT_TEMPLATE_BUNDLE) + "/Contents/Info.plist");
    EXPECT_EQ(pick(info, {"CFBundleName", "CFBundleExecutable"}),
              (KTJson{{"CFBundleName", "www.example.org"}, {"CFBundleExecutable", "DefaultApp"}}));
    for (const char* k : {"CFBundleShortVersionString", "CFBundleVersion", "NSAppTransportSecurity"})
        EXPECT_EQ(info[k], templ[k]) << k;
    const std::string id = info["CFBundleIdentifier"].get<std::string>();
    EXPECT_TRUE(g_application_id_is_valid(id.c_str())) << id;
    EXPECT_TRUE(g_dbus_is_name(id.c_str()) && !g_dbus_is_unique_name(id.c_str())) << id;
    EXPECT_EQ(id.rfind("org.quilt.apps.www_example_org_", 0), 0u) << id;

    // The unique id: a fresh UUID on the folder itself, also in the id.
    char value[256] = {};
    ssize_t n = ::getxattr(bundle.c_str(), "user.QuiltUniqueID", value, sizeof value - 1);
    ASSERT_GT(n, 0) << "no extended attribute on the bundle";
    const std::string uid(value, static_cast<size_t>(n));
    EXPECT_TRUE(g_uuid_string_is_valid(uid.c_str())) << uid;
    EXPECT_EQ(uniqueIdOf(bundle), uid);
    EXPECT_EQ(id.substr(id.size() - 8), uid.substr(0, 8));

    // The creation-tool configuration.
    const KTJson config = plist(c + "/Resources/QuiltCreationToolSettings.plist");
    EXPECT_DOUBLE_EQ(config["windowOpacity"].get<double>(), 0.8);
    EXPECT_EQ(pick(config, {"isCreatedByQuiltCreationTool", "appName", "URL", "defaultWindowSize",
                            "showStatusBarOption", "showUserScriptStyleOption", "whiteListAllowAll",
                            "whiteListAllowPatterns", "whiteListPatterns"}),
              KTJson::parse(R"({"isCreatedByQuiltCreationTool":true,"appName":"www.example.org",
                  "URL":"https://www.example.org/home","defaultWindowSize":"1280x800","showStatusBarOption":true,
                  "showUserScriptStyleOption":false,"whiteListAllowAll":false,"whiteListAllowPatterns":true,
                  "whiteListPatterns":["://example.org/",".example.org/"]})"));
}

TEST_F(QuiltCreate, WritesAValidLauncher)
{
    // A destination with a blank and a dollar exercises the Exec quoting.
    const std::string dest = env.root() + "/My $Apps";
    const std::string bundle = make({"--url", "https://example.org", "--name", "Example Mail", "--dest", dest});
    ASSERT_EQ(bundle, dest + "/Example Mail.app");
    const std::string id = bundleIdOf(bundle);
    const std::string desktop = applicationsFolder() + "/" + id + ".desktop";
    ASSERT_EQ(desktopFiles(), std::vector<std::string>{id + ".desktop"});

    auto check = runProgram({"/usr/bin/desktop-file-validate", desktop});
    EXPECT_EQ(check.exitCode, 0) << check.out << check.err;
    EXPECT_EQ(check.out + check.err, "");

    GDesktopAppInfo* info = g_desktop_app_info_new_from_filename(desktop.c_str());
    ASSERT_TRUE(info);
    GAppInfo* app = G_APP_INFO(info);
    EXPECT_STREQ(g_app_info_get_name(app), "Example Mail");
    gchar** argv = nullptr;
    ASSERT_TRUE(g_shell_parse_argv(g_app_info_get_commandline(app), nullptr, &argv, nullptr));
    EXPECT_EQ(std::string(argv[0]), bundle + "/Contents/MacOS/DefaultApp");
    EXPECT_STREQ(argv[1], "%U");
    g_strfreev(argv);
    EXPECT_EQ(std::string(g_desktop_app_info_get_startup_wm_class(info)), id);
    EXPECT_STREQ(g_desktop_app_info_get_categories(info), "Network;WebBrowser;");
    auto key = [&](const char* k) {
        char* v = g_desktop_app_info_get_string(info, k);
        std::string s = v ? v : "";
        g_free(v);
        return s;
    };
    EXPECT_EQ(key("X-Quilt-UniqueID"), uniqueIdOf(bundle));
    EXPECT_EQ(key("X-Quilt-URL"), "https://example.org/");
    EXPECT_EQ(key("Type"), "Application");

    // The icon: an absolute path to the ICNS's 512 px picture.
    const std::string icon = key("Icon");
    ASSERT_EQ(icon.front(), '/');
    auto png = KTFileUtil::read(icon);
    ASSERT_TRUE(png);
    EXPECT_EQ(pngWidth(*png), 512);
    g_object_unref(info);
}

// The allow-list it seeds is pinned in KTSiteAddressTest and the options table below.
TEST_F(QuiltCreate, SeedsTheDataFolder)
{
    const std::string bundle = make({"--url", "https://www.example.org/start", "--opacity", "55"});
    const KTJson settings = env.readJson(dataFolderOf(uniqueIdOf(bundle)) + "/settings.json");
    EXPECT_EQ(pick(settings, {"main_url", "enableJavaScript", "allowCookies", "blockPopupWindoww", "hideProgressBar"}),
              KTJson::parse(R"({"main_url":"https://www.example.org/start","enableJavaScript":true,"allowCookies":0,
                  "blockPopupWindoww":false,"hideProgressBar":false})"));
    EXPECT_DOUBLE_EQ(settings["windowOpacityKey"].get<double>(), 0.55);
}

struct AllowArgs {
    std::vector<std::string> args;
    bool allowAll, allowPatterns;
    std::vector<std::string> patterns;
};

void PrintTo(const AllowArgs& c, std::ostream* os)
{
    for (const auto& a : c.args)
        *os << a << ' ';
}

class QuiltCreateAllowOptions : public QuiltCreate, public testing::WithParamInterface<AllowArgs> {};

TEST_P(QuiltCreateAllowOptions, AllowListFollowsTheOptions)
{
    std::vector<std::string> args = {"--url", "https://example.org"};
    args.insert(args.end(), GetParam().args.begin(), GetParam().args.end());
    const std::string bundle = make(args);
    KTWhiteListManager list(dataFolderOf(uniqueIdOf(bundle)) + "/whitelist.json");
    EXPECT_EQ(list.allowAll(), GetParam().allowAll);
    EXPECT_EQ(list.allowPatterns(), GetParam().allowPatterns);
    EXPECT_EQ(list.patterns(), GetParam().patterns);
    const KTJson config = plist(bundle + "/Contents/Resources/QuiltCreationToolSettings.plist");
    EXPECT_EQ(pick(config, {"whiteListAllowAll", "whiteListAllowPatterns", "whiteListPatterns"}),
              (KTJson{{"whiteListAllowAll", GetParam().allowAll}, {"whiteListAllowPatterns", GetParam().allowPatterns},
                      {"whiteListPatterns", GetParam().patterns}}));
}

INSTANTIATE_TEST_SUITE_P(Table, QuiltCreateAllowOptions,
                         testing::Values(AllowArgs{{}, false, true, {"://example.org/", ".example.org/"}},
                                         AllowArgs{{"--allow", "*example.org*", "--allow", "*cdn.test*"},
                                                   false,
                                                   true,
                                                   {"*example.org*", "*cdn.test*"}},
                                         AllowArgs{{"--allow-all"}, true, false, {}}));

// Every refusal: exit code 2, one line naming the problem, and nothing made.
struct Refusal {
    const char* label;
    std::vector<std::string> args; // "@" stands for the test's root folder
    const char* says;
};

void PrintTo(const Refusal& c, std::ostream* os) { *os << c.label; }

class QuiltCreateRefusals : public QuiltCreate, public testing::WithParamInterface<Refusal> {};

TEST_P(QuiltCreateRefusals, RefusesWithOneLineAndLeavesNothing)
{
    file("not-an-image.png", "plain text");
    file("a-file", "x");
    file("script.js", "console.log(1)");
    file("huge.png", pngDeclaring(20000, 20000));
    ::mkfifo((env.root() + "/fifo").c_str(), 0644);
    std::vector<std::string> args;
    for (auto a : GetParam().args) {
        if (auto at = a.find('@'); at != std::string::npos)
            a.replace(at, 1, env.root());
        args.push_back(a);
    }
    // Run as from a script: without a display, no arguments is a mistake
    // (on a desktop it opens the creation window).
    const std::string display = g_getenv("DISPLAY") ? g_getenv("DISPLAY") : "";
    const std::string wayland = g_getenv("WAYLAND_DISPLAY") ? g_getenv("WAYLAND_DISPLAY") : "";
    g_unsetenv("DISPLAY");
    g_unsetenv("WAYLAND_DISPLAY");
    auto r = tool(args);
    if (!display.empty())
        g_setenv("DISPLAY", display.c_str(), TRUE);
    if (!wayland.empty())
        g_setenv("WAYLAND_DISPLAY", wayland.c_str(), TRUE);
    EXPECT_EQ(r.exitCode, 2) << r.err;
    auto lines = r.errLines();
    ASSERT_EQ(lines.size(), 1u) << r.err;
    EXPECT_EQ(lines[0].rfind("quilt-create: ", 0), 0u) << lines[0];
    EXPECT_NE(lines[0].find(GetParam().says), std::string::npos) << lines[0];
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(entries(appsFolder()), std::vector<std::string>{});
    EXPECT_EQ(desktopFiles(), std::vector<std::string>{});
    EXPECT_EQ(entries(dataHome() + "/Quilt"), std::vector<std::string>{});
}

const std::string kUrl = "https://example.org";

INSTANTIATE_TEST_SUITE_P(
    Table, QuiltCreateRefusals,
    testing::Values(
        Refusal{"NoArguments", {}, "no URL"}, Refusal{"NoUrl", {"--name", "X"}, "no URL"},
        Refusal{"NotHttp", {"--url", "ftp://example.org"}, "not an http or https URL"},
        Refusal{"NoScheme", {"--url", "example.org"}, "did you mean https://example.org"},
        Refusal{"NoHost", {"--url", "https://"}, "no host"},
        Refusal{"UnknownOption", {"--url", kUrl, "--colour", "red"}, "unknown option --colour"},
        Refusal{"StrayArgument", {"--url", kUrl, "extra"}, "unexpected argument"},
        Refusal{"UrlTwice", {"--url", kUrl, "--url", kUrl}, "given twice"},
        Refusal{"MissingValue", {"--url"}, "--url needs a value"},
        Refusal{"SmallWindow", {"--url", kUrl, "--window-size", "99x600"}, "bad --window-size"},
        Refusal{"HalfWindowSize", {"--url", kUrl, "--window-size", "800x"}, "bad --window-size"},
        Refusal{"OpacityOver", {"--url", kUrl, "--opacity", "101"}, "bad --opacity"},
        Refusal{"OpacityUnder", {"--url", kUrl, "--opacity", "9"}, "bad --opacity"},
        Refusal{"OpacityText", {"--url", kUrl, "--opacity", "half"}, "bad --opacity"},
        Refusal{"EnterpriseOpacity", {"--url", kUrl, "--enterprise", "--opacity", "50"}, "--enterprise"},
        Refusal{"MissingIcon", {"--url", kUrl, "--icon", "@/missing.png"}, "cannot read the icon"},
        Refusal{"IconNotAnImage", {"--url", kUrl, "--icon", "@/not-an-image.png"}, "cannot read the icon"},
        // Neither blocks on a FIFO nor decodes an icon's gigapixels.
        Refusal{"IconIsAFifo", {"--url", kUrl, "--icon", "@/fifo"}, "not a regular file"},
        Refusal{"HugeIcon", {"--url", kUrl, "--icon", "@/huge.png"}, "20000x20000 pixels"},
        Refusal{"ScriptIsAFifo", {"--url", kUrl, "--user-script", "@/fifo", "--script-pattern", "*"},
                "cannot read the user script"},
        Refusal{"ScriptWithoutPattern", {"--url", kUrl, "--user-script", "@/script.js"}, "go together"},
        Refusal{"MissingScript", {"--url", kUrl, "--user-script", "@/none.js", "--script-pattern", "*"},
                "cannot read the user script"},
        Refusal{"AllowAndAllowAll", {"--url", kUrl, "--allow", "x", "--allow-all"}, "cannot be combined"},
        Refusal{"SlashInName", {"--url", kUrl, "--name", "a/b"}, "\"/\""},
        Refusal{"EmptyName", {"--url", kUrl, "--name", ""}, "empty"},
        Refusal{"PercentInName", {"--url", kUrl, "--name", "100% Music"}, "\"%\""},
        Refusal{"PercentInDest", {"--url", kUrl, "--dest", "@/100%"}, "\"%\""},
        Refusal{"DestIsAFile", {"--url", kUrl, "--dest", "@/a-file"}, "destination"},
        Refusal{"DestUnderAFile", {"--url", kUrl, "--dest", "@/a-file/apps"}, "destination"},
        Refusal{"BadTemplate", {"--url", kUrl, "--template", "@"}, "not a template bundle"},
        Refusal{"RemoveUnknown", {"--remove", "Nothing"}, "no app named \"Nothing\""}),
    [](const auto& info) { return std::string(info.param.label); });

TEST_F(QuiltCreate, StoppedBySigtermItLeavesNothingBehind)
{
    // SIGTERM goes out as soon as the hidden staging bundle appears; a run
    // that finished first on a fast machine proves nothing and is retried.
    int stopped = 0;
    for (int attempt = 0; attempt < 5 && stopped == 0; ++attempt) {
        const std::string name = "Stopped" + std::to_string(attempt);
        auto staging = [&] {
            for (const auto& e : entries(appsFolder()))
                if (e.rfind("." + name + ".app.", 0) == 0)
                    return true;
            return false;
        };
        auto r = runProgram({QUILT_CREATE_EXE, "--url", "https://example.org", "--name", name}, std::chrono::seconds(60), staging);
        if (r.exitCode == 0)
            continue;
        ++stopped;
        EXPECT_EQ(r.exitCode, 128 + SIGTERM) << r.err;
        EXPECT_NE(r.err.find("stopped by SIGTERM"), std::string::npos) << r.err;
    }
    ASSERT_GT(stopped, 0) << "every run finished before the signal";
    // Only finished apps remain: no staging folder, no orphan data folder.
    const auto apps = entries(appsFolder());
    for (const auto& e : apps)
        EXPECT_NE(e[0], '.') << e;
    EXPECT_EQ(entries(dataHome() + "/Quilt").size(), apps.size());
    EXPECT_EQ(desktopFiles().size(), apps.size());
}

TEST_F(QuiltCreate, TheNextRunClearsWhatAKilledRunLeft)
{
    // What SIGKILL leaves mid-way: a staging bundle naming the new app's
    // id, and that app's data folder; and a removal cut short.
    make({"--url", "https://example.org", "--name", "Kept"});
    const std::string staging = appsFolder() + "/.Killed.app.Ab12Cd";
    const std::string removal = appsFolder() + "/.Gone.app.Zz99Yy.old";
    for (const auto& folder : {staging + "/Contents", removal, dataFolderOf("KILLED-ID")})
        ASSERT_TRUE(KTFileUtil::makeDirectories(folder));
    ASSERT_EQ(::setxattr(staging.c_str(), "user.QuiltStagingFor", "KILLED-ID", 9, 0), 0);
    const std::string running = appsFolder() + "/.Running.app.Qq11Rr";
    ASSERT_TRUE(KTFileUtil::makeDirectories(running));
    const timespec hourAgo[2] = {{::time(nullptr) - 3600, 0}, {::time(nullptr) - 3600, 0}};
    for (const auto& folder : {staging, removal})
        ASSERT_EQ(::utimensat(AT_FDCWD, folder.c_str(), hourAgo, 0), 0);

    make({"--url", "https://example.net", "--name", "Next"});
    EXPECT_FALSE(KTFileUtil::exists(staging));
    EXPECT_FALSE(KTFileUtil::exists(removal));
    EXPECT_FALSE(KTFileUtil::exists(dataFolderOf("KILLED-ID")));
    EXPECT_TRUE(KTFileUtil::exists(running)) << "a fresh one may belong to a run still going";
    EXPECT_EQ(entries(dataHome() + "/Quilt").size(), 2u) << "the made apps' data stays";
}

TEST_F(QuiltCreate, RefusesAnExistingNameWithoutForce)
{
    const std::string bundle = make({"--url", "https://example.org", "--name", "Site"});
    const std::string uid = uniqueIdOf(bundle);
    auto r = tool({"--url", "https://other.example", "--name", "Site"});
    EXPECT_EQ(r.exitCode, 3);
    EXPECT_EQ(r.out, bundle + "\n") << "the app in the way, for the creation window to offer replacing";
    ASSERT_EQ(r.errLines().size(), 1u) << r.err;
    EXPECT_TRUE(r.err.find("already exists") != r.err.npos && r.err.find("--force") != r.err.npos) << r.err;
    EXPECT_EQ(uniqueIdOf(bundle), uid);
    EXPECT_EQ(plist(bundle + "/Contents/Resources/QuiltCreationToolSettings.plist")["URL"], "https://example.org/");
    EXPECT_EQ(entries(appsFolder()), std::vector<std::string>{"Site.app"});
    EXPECT_EQ(desktopFiles().size(), 1u);

    // --force does not replace a folder that is not an app.
    env.writeFile(appsFolder() + "/Notes.app/notes.txt", "mine");
    for (bool force : {false, true}) {
        r = tool(force ? std::vector<std::string> {"--url", "https://example.org", "--name", "Notes", "--force"}
                       : std::vector<std::string> {"--url", "https://example.org", "--name", "Notes"});
        EXPECT_EQ(r.exitCode, 2);
        EXPECT_NE(r.err.find("not an app bundle"), std::string::npos) << r.err;
    }
    EXPECT_EQ(env.readFile(appsFolder() + "/Notes.app/notes.txt"), "mine");
}

TEST_F(QuiltCreate, ForceKeepsTheIdAndWhatTheUserChanged)
{
    const std::string bundle = make({"--url", "https://old.example.org/", "--name", "Site"});
    const std::string uid = uniqueIdOf(bundle);
    const std::string data = dataFolderOf(uid);
    const std::string icns = bundle + "/Contents/Resources/AppIcon.icns";
    const std::string scripts = bundle + "/Contents/Resources/Scripts/userscripts.json";
    const std::string generatedIcon = env.readFile(icns);
    const std::string edited = R"({"main_url":"https://old.example.org/mine","enableJavaScript":true})";
    env.writeFile(data + "/settings.json", edited);
    env.writeFile(data + "/bookmark.json", R"([{"title":"kept"}])");

    auto r = tool({"--url", "https://www.new.example.com/", "--name", "Site", "--force"});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_EQ(r.outLines().back(), bundle);
    EXPECT_NE(r.out.find("kept settings.json"), std::string::npos) << r.out;

    EXPECT_EQ(uniqueIdOf(bundle), uid);
    EXPECT_EQ(env.readFile(data + "/settings.json"), edited);
    EXPECT_EQ(env.readFile(data + "/bookmark.json"), R"([{"title":"kept"}])");
    // The allow-list was still the tool's own, so it follows the new site.
    KTWhiteListManager list(data + "/whitelist.json");
    EXPECT_TRUE(list.isUrlAllow("https://mail.new.example.com/"));
    EXPECT_FALSE(list.isUrlAllow("https://old.example.org/"));
    EXPECT_EQ(plist(bundle + "/Contents/Resources/QuiltCreationToolSettings.plist")["URL"],
              "https://www.new.example.com/");
    ASSERT_EQ(desktopFiles().size(), 1u);
    EXPECT_NE(env.readFile(applicationsFolder() + "/" + desktopFiles()[0]).find("X-Quilt-URL=https://www.new.example.com/"),
              std::string::npos);
    EXPECT_EQ(entries(appsFolder()), std::vector<std::string>{"Site.app"});
    // The generated icon was the tool's, so it follows the new site too.
    EXPECT_NE(env.readFile(icns), generatedIcon);

    // The icon and the scripts live in the bundle, where the app's
    // preferences change them: those changes survive as well ...
    auto picture = GRef<GdkPixbuf>::adopt(gdk_pixbuf_new(GDK_COLORSPACE_RGB, TRUE, 8, 64, 64));
    gdk_pixbuf_fill(picture.get(), 0x336699ff);
    ASSERT_TRUE(KTIcns::writeFile(icns, picture.get(), {128, 512}));
    const std::string userIcon = env.readFile(icns);
    const std::string userScripts = R"([{"name":"Mine","state":1,"script":"1","pattern":{}}])";
    env.writeFile(scripts, userScripts);
    r = tool({"--url", "https://www.new.example.com/", "--name", "Site", "--force"});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_NE(r.out.find("kept AppIcon.icns"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("kept Scripts/userscripts.json"), std::string::npos) << r.out;
    EXPECT_EQ(env.readFile(icns), userIcon);
    EXPECT_EQ(env.readFile(scripts), userScripts);
    const std::string exported = dataHome() + "/icons/hicolor/512x512/apps/" + bundleIdOf(bundle) + ".png";
    EXPECT_EQ(env.readFile(exported), KTIcns::decode(userIcon)->back().data);

    // ... until the user asks for a new icon.
    r = tool({"--url", "https://www.new.example.com/", "--name", "Site", "--force", "--icon",
              file("blue.svg", R"(<svg xmlns="http://www.w3.org/2000/svg" width="8" height="8">)"
                               R"(<rect width="8" height="8" fill="blue"/></svg>)")});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_NE(env.readFile(icns), userIcon);
    EXPECT_EQ(env.readFile(scripts), userScripts);

    // An old bundle without an id gets a new one, and its old launcher goes.
    ::removexattr(bundle.c_str(), "user.QuiltUniqueID");
    ASSERT_EQ(uniqueIdOf(bundle), "");
    make({"--url", "https://www.new.example.com/", "--name", "Site", "--force"});
    const std::string fresh = uniqueIdOf(bundle);
    EXPECT_TRUE(g_uuid_string_is_valid(fresh.c_str()));
    EXPECT_NE(fresh, uid);
    EXPECT_EQ(desktopFiles(), std::vector<std::string>{bundleIdOf(bundle) + ".desktop"});
    EXPECT_EQ(entries(dataHome() + "/icons/hicolor/512x512/apps"), std::vector<std::string>{bundleIdOf(bundle) + ".png"});
}

TEST_F(QuiltCreate, FailureLeavesNoHalfMadeApp)
{
    // A data folder that cannot be made fails after the bundle was built.
    env.writeFile(dataHome() + "/Quilt", "a file in the way");
    auto r = tool({"--url", "https://example.org"});
    EXPECT_EQ(r.exitCode, 1);
    ASSERT_EQ(r.errLines().size(), 1u) << r.err;
    EXPECT_EQ(r.err.rfind("quilt-create: ", 0), 0u);
    EXPECT_EQ(entries(appsFolder()), std::vector<std::string>{});
    EXPECT_EQ(desktopFiles(), std::vector<std::string>{});
    EXPECT_EQ(entries(dataHome() + "/icons/hicolor/512x512/apps"), std::vector<std::string>{});
}

class QuiltCreateApps : public QuiltCreate {};

TEST_F(QuiltCreateApps, ListShowsEveryMadeAppAndRemoveTakesThemAway)
{
    const std::string other = env.root() + "/Other Apps";
    const std::string a = make({"--url", "https://a.example.org", "--name", "Alpha"});
    const std::string b = make({"--url", "https://b.example.org", "--name", "Beta", "--dest", other});
    const std::string uidA = uniqueIdOf(a), uidB = uniqueIdOf(b);
    // A bundle whose launcher the user deleted is still listed.
    const std::string c = make({"--url", "https://c.example.org", "--name", "Gamma"});
    ::unlink((applicationsFolder() + "/" + bundleIdOf(c) + ".desktop").c_str());

    auto r = tool({"--list"});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_EQ(r.outLines(), (std::vector<std::string>{
                                "Alpha\thttps://a.example.org/\t" + a + "\t" + uidA,
                                "Beta\thttps://b.example.org/\t" + b + "\t" + uidB,
                                "Gamma\thttps://c.example.org/\t" + c + "\t" + uniqueIdOf(c),
                            }));

    // Remove keeps the data folder ...
    r = tool({"--remove", "Alpha"});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_FALSE(KTFileUtil::exists(a));
    EXPECT_TRUE(KTFileUtil::exists(dataFolderOf(uidA) + "/settings.json"));
    EXPECT_EQ(desktopFiles(), std::vector<std::string>{bundleIdOf(b) + ".desktop"});
    EXPECT_EQ(entries(dataHome() + "/icons/hicolor/512x512/apps"),
              (std::vector<std::string>{bundleIdOf(b) + ".png", bundleIdOf(c) + ".png"}));

    // ... --purge takes it, and the app's cache and configuration, too.
    env.writeFile(env.home() + "/.cache/" + bundleIdOf(b) + "/cookies", "x");
    env.writeFile(env.home() + "/.config/" + bundleIdOf(b) + "/defaults.ini", "x");
    const std::string bundleIdB = bundleIdOf(b);
    r = tool({"--remove", "Beta", "--purge"});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    for (const std::string& gone :
         {b, dataFolderOf(uidB), env.home() + "/.cache/" + bundleIdB, env.home() + "/.config/" + bundleIdB})
        EXPECT_FALSE(KTFileUtil::exists(gone)) << gone;
    EXPECT_EQ(desktopFiles(), std::vector<std::string>{});

    r = tool({"--remove", "Gamma"});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_FALSE(KTFileUtil::exists(c));
    EXPECT_EQ(entries(dataHome() + "/icons/hicolor/512x512/apps"), std::vector<std::string>{});
    r = tool({"--list"});
    EXPECT_EQ(r.exitCode, 0);
    EXPECT_EQ(r.out, "");
}

// What the app then imposes from this file is pinned in QuiltManagerTest.
TEST_F(QuiltCreateApps, EnterpriseAppGetsAnEnterpriseConfiguration)
{
    const std::string bundle
        = make({"--url", "https://intranet.example.com/", "--name", "Intranet", "--enterprise", "--allow", "*example.com*"});
    EXPECT_FALSE(KTFileUtil::exists(bundle + "/Contents/Resources/QuiltCreationToolSettings.plist"));
    const KTJson config = plist(bundle + "/Contents/Resources/EnterpriseSettings.plist");
    EXPECT_EQ(pick(config, {"isEnterpriseApp", "appName", "URL", "whiteListAllowAll", "whiteListAllowPatterns",
                            "whiteListPatterns", "windowOpacity", "windowShadow"}),
              KTJson::parse(R"({"isEnterpriseApp":true,"appName":"Intranet","URL":"https://intranet.example.com/",
                  "whiteListAllowAll":false,"whiteListAllowPatterns":true,"whiteListPatterns":["*example.com*"],
                  "windowOpacity":1,"windowShadow":true})"));
}

TEST_F(QuiltCreateApps, UserScriptBecomesTheBundlesFirstRule)
{
    const std::string script = "document.title = \"\\u00e9t\xc3\xa9 \" + 1;\n// \"quotes\"\n";
    const std::string bundle = make({"--url", "https://example.org", "--user-script", file("my.js", script),
                                     "--script-pattern", "*example.org/inbox*"});
    const KTJson rules = env.readJson(bundle + "/Contents/Resources/Scripts/userscripts.json");
    const KTJson expected = KTJson::parse(R"([{"name":"Rule 1","state":1,"script":"","pattern":
        {"*example.org/inbox*":{"name":"*example.org/inbox*","state":1}}}])");
    KTJson withScript = expected;
    withScript[0]["script"] = script;
    EXPECT_EQ(rules, withScript);
    EXPECT_EQ(plist(bundle + "/Contents/Resources/QuiltCreationToolSettings.plist")["showUserScriptStyleOption"],
              true);
    // The template's own rules file is untouched.
    EXPECT_EQ(env.readFile(std::string(QUILT_TEMPLATE_BUNDLE) + "/Contents/Resources/Scripts/userscripts.json"),
              env.readFile(bundle + "/Contents/Resources/DefaultApp.app/Contents/Resources/Scripts/userscripts.json"));
}

// Started as a launcher would, the app finds its bundle from its own path.
TEST_F(QuiltCreateApps, MadeAppStartsFromItsBundle)
{
    // Nothing listens on port 9 here; the page may fail, the app must not.
    const std::string bundle = make({"--url", "http://127.0.0.1:9/", "--name", "Local"});
    const std::string uid = uniqueIdOf(bundle);
    const std::string registry = env.home() + "/.QVT/.update";

    auto registered = [&] { return env.readFile(registry).find(bundle) != std::string::npos; };
    auto r = runProgram({bundle + "/Contents/MacOS/DefaultApp"}, std::chrono::seconds(30), registered);
    const bool exitedByItself = r.exited;

    if (!registered() && !std::getenv("DISPLAY"))
        GTEST_SKIP() << "the app needs a display here: " << r.err;
    EXPECT_TRUE(registered()) << "stdout: " << r.out << "\nstderr: " << r.err;
    if (exitedByItself && !r.out.empty()) {
        EXPECT_NE(r.out.find(bundle), std::string::npos) << r.out;
        EXPECT_NE(r.out.find("http://127.0.0.1:9/"), std::string::npos) << r.out;
    }
    // The data it used is the app's own, never the folder of an app without id.
    EXPECT_FALSE(KTFileUtil::exists(dataHome() + "/Quilt/(null)"));
    EXPECT_EQ(env.readJson(dataFolderOf(uid) + "/settings.json")["main_url"], "http://127.0.0.1:9/");
}

} // namespace
} // namespace quilt::test
