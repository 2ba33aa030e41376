#include "support/AppTest.h"

#include "app/AppDelegate.h"
#include "core/config/KTBundle.h"
#include "core/config/KTPlist.h"
#include "ui/windows/KTMainWindowController.h"

#include <glib.h>

namespace quilt::test {

void AppTest::SetUp()
{
    GuiTest::SetUp();
    if (IsSkipped())
        return;
    std::string info = env->bundlePath() + "/Contents/Info.plist";
    KTJson dict = KTPlist::readFile(info).value_or(KTJson::object());
    dict["CFBundleIdentifier"] = std::string("org.quilt.test.")
        + ::testing::UnitTest::GetInstance()->current_test_info()->test_suite_name() + "_"
        + env->uniqueId().substr(0, 8);
    ASSERT_TRUE(KTPlist::writeFile(info, dict));
    KTBundle::setMainPath(env->bundlePath());
}

void AppTest::runApp(const std::function<void(AppDelegate&)>& launched, const std::vector<std::string>& args)
{
    AppDelegate app;
    struct Ctx {
        AppDelegate* app;
        const std::function<void(AppDelegate&)>* launched;
        bool ran = false;
    } ctx {&app, &launched};
    guint id = g_timeout_add(10, +[](gpointer data) -> gboolean {
        auto* c = static_cast<Ctx*>(data);
        if (KTMainWindowController::mainWindows().empty())
            return G_SOURCE_CONTINUE;
        c->ran = true;
        (*c->launched)(*c->app);
        c->app->quit(false);
        return G_SOURCE_REMOVE;
    }, &ctx);
    std::vector<std::string> storage = {"DefaultApp"};
    storage.insert(storage.end(), args.begin(), args.end());
    std::vector<char*> argv;
    for (auto& a : storage)
        argv.push_back(a.data());
    argv.push_back(nullptr);
    EXPECT_EQ(app.run(static_cast<int>(storage.size()), argv.data()), 0);
    if (!ctx.ran)
        g_source_remove(id);
    ASSERT_TRUE(ctx.ran) << "the application never came up as the primary instance";
}

void AppTest::runAppAtHome(const std::function<void(AppDelegate&, KTMainWindowController&)>& launched,
                           const std::vector<std::string>& args)
{
    runApp([&](AppDelegate& app) {
        KTMainWindowController* top = app.getTopMainController();
        if (waitLoaded(pageOf(top), server->url("/home")))
            launched(app, *top);
        else
            ADD_FAILURE() << "the home page never loaded";
    }, args);
}

KTMainWindowController* AppTest::windowAt(size_t i) { return KTMainWindowController::mainWindows().at(i).get(); }

} // namespace quilt::test
