// Made apps as the rest of the system sees them: listed and removed again,
// read by the app's own stores, and started.
#include "KTAppCreator.h"
#include "QuiltCreateFixture.h"

#include "config/KTBundle.h"
#include "config/KTFileUtil.h"
#include "config/KTQuiltManager.h"
#include "config/KTSettingsManager.h"
#include "web/KTWhiteListManager.h"

#include <csignal>
#include <sstream>
#include <thread>

namespace quilt::test {
namespace {

class QuiltCreateApps : public QuiltCreateFixture {
protected:
    // Makes an app in-process, as a test or another tool would.
    std::string makeInProcess(std::vector<std::string> args)
    {
        args.push_back("--template");
        args.push_back(QUILT_TEMPLATE_BUNDLE);
        std::ostringstream out, err;
        KTAppCreator creator(out, err);
        EXPECT_EQ(creator.run(args), 0) << err.str();
        std::string text = out.str();
        if (!text.empty() && text.back() == '\n')
            text.pop_back();
        return text.substr(text.rfind('\n') + 1);
    }

    // Runs the made app's stores as the app itself would at its start.
    void becomeTheApp(const std::string& bundle)
    {
        TestEnvironment::resetSharedStores();
        KTBundle::setMainPath(bundle);
    }
};

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
    EXPECT_FALSE(KTFileUtil::exists(b));
    EXPECT_FALSE(KTFileUtil::exists(dataFolderOf(uidB)));
    EXPECT_FALSE(KTFileUtil::exists(env.home() + "/.cache/" + bundleIdB));
    EXPECT_FALSE(KTFileUtil::exists(env.home() + "/.config/" + bundleIdB));
    EXPECT_EQ(desktopFiles(), std::vector<std::string>{});

    r = tool({"--remove", "Gamma"});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_FALSE(KTFileUtil::exists(c));
    EXPECT_EQ(entries(dataHome() + "/icons/hicolor/512x512/apps"), std::vector<std::string>{});
    r = tool({"--list"});
    EXPECT_EQ(r.exitCode, 0);
    EXPECT_EQ(r.out, "");
}

TEST_F(QuiltCreateApps, MadeAppOpensItsSiteAndKeepsToItFromTheFirstStart)
{
    const std::string bundle
        = makeInProcess({"--url", "https://www.example.org/start", "--window-size", "1280x800", "--opacity", "80"});
    becomeTheApp(bundle);

    EXPECT_TRUE(KTQuiltManager::quiltCreationToolBuild());
    EXPECT_FALSE(KTQuiltManager::enterpriseBuild());
    EXPECT_EQ(KTQuiltManager::appName(), "www.example.org");
    KTSize size = KTQuiltManager::quiltCreationToolWindowSize();
    EXPECT_EQ(size.width, 1280);
    EXPECT_EQ(size.height, 800);

    auto& settings = KTSettingsManager::sharedManager();
    EXPECT_EQ(settings.getMainUrl(), "https://www.example.org/start");
    EXPECT_TRUE(settings.enableJavaScript());
    EXPECT_FALSE(settings.blockPopupWindow());
    EXPECT_EQ(settings.cookiesAllow(), 0u);
    EXPECT_DOUBLE_EQ(settings.windowOpacity(), 0.8);

    auto& list = KTWhiteListManager::sharedManager();
    EXPECT_TRUE(list.isUrlAllow("https://www.example.org/start"));
    EXPECT_TRUE(list.isUrlAllow("https://accounts.example.org/login"));
    EXPECT_FALSE(list.isUrlAllow("https://www.example.org.phish.test/"));
    EXPECT_FALSE(list.isUrlAllow("https://elsewhere.test/"));
}

TEST_F(QuiltCreateApps, EnterpriseAppGetsItsSettingsImposedAtStart)
{
    const std::string bundle = makeInProcess(
        {"--url", "https://intranet.example.com/", "--name", "Intranet", "--enterprise", "--allow", "*example.com*"});
    EXPECT_FALSE(KTFileUtil::exists(bundle + "/Contents/Resources/QuiltCreationToolSettings.plist"));
    const KTJson config = plist(bundle + "/Contents/Resources/EnterpriseSettings.plist");
    EXPECT_EQ(config["isEnterpriseApp"], true);
    EXPECT_EQ(config["appName"], "Intranet");
    EXPECT_EQ(config["URL"], "https://intranet.example.com/");
    EXPECT_EQ(config["whiteListAllowAll"], false);
    EXPECT_EQ(config["whiteListAllowPatterns"], true);
    EXPECT_EQ(config["whiteListPatterns"], KTJson{"*example.com*"});
    EXPECT_EQ(config["windowOpacity"], 1);
    EXPECT_EQ(config["windowShadow"], true);

    becomeTheApp(bundle);
    EXPECT_TRUE(KTQuiltManager::enterpriseBuild());
    EXPECT_EQ(KTQuiltManager::appName(), "Intranet");
    EXPECT_FLOAT_EQ(KTQuiltManager::alphaValue(), 1.0f);
    KTQuiltManager::sharedManager(); // imposes the configuration
    auto& settings = KTSettingsManager::sharedManager();
    EXPECT_EQ(settings.getMainUrl(), "https://intranet.example.com/");
    EXPECT_DOUBLE_EQ(settings.windowOpacity(), 1.0);
    EXPECT_TRUE(settings.windowShadow());
    EXPECT_TRUE(settings.enableJavaScript());
    auto& list = KTWhiteListManager::sharedManager();
    EXPECT_TRUE(list.isUrlAllow("https://intranet.example.com/wiki"));
    EXPECT_FALSE(list.isUrlAllow("https://other.test/"));
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

// The made app's own executable, started as a launcher would start it, must
// find its bundle from its own path and its data folder from the bundle's
// unique id.
TEST_F(QuiltCreateApps, MadeAppStartsFromItsBundle)
{
    // Nothing listens on port 9 here; the page may fail, the app must not.
    const std::string bundle = make({"--url", "http://127.0.0.1:9/", "--name", "Local"});
    const std::string uid = uniqueIdOf(bundle);
    const std::string registry = env.home() + "/.QVT/.update";

    ToolRunner app({bundle + "/Contents/MacOS/DefaultApp"});
    app.start();
    auto registered = [&] { return env.readFile(registry).find(bundle) != std::string::npos; };
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (!registered() && !app.waitForExit(std::chrono::steady_clock::now() + std::chrono::milliseconds(20))
           && std::chrono::steady_clock::now() < deadline) {
    }
    const bool exitedByItself = !app.running();
    app.stop();
    auto r = app.result();

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
