#include "HelperSession.h"

#include "KTHelperServiceFile.h"
#include "core/config/KTFileUtil.h"

#include <csignal>
#include <cstdlib>
#include <unistd.h>

using namespace quilt;
using namespace quilt::test;

namespace {

constexpr const char* kTerminated = "connection used to work but suddenly terminated";
constexpr const char* kUnreachable = "connection cannot be established";

// This group runs with QUILT_HELPER_IDLE_SECONDS=2 and
// QUILT_HELPER_REPLY_TIMEOUT_MS=1500 (see CMakeLists.txt).
class HelperLifecycle : public HelperSessionTest {
protected:
    void SetUp() override
    {
        HelperSessionTest::SetUp();
        if (IsSkipped())
            return;
        // Each case starts with no helper running.
        if (auto pid = helperPid())
            ::kill(*pid, SIGTERM);
        ASSERT_TRUE(waitForHelperGone());
    }
    std::optional<pid_t> answerOnce()
    {
        EXPECT_TRUE(saved(freshSite("probe")).has_value()) << "no reply";
        return helperPid();
    }
};

// quilt-create writes the activation file naming the built helper, and the
// bus starts the helper from it on the first request.
TEST_F(HelperLifecycle, QuiltCreatesServiceFileStartsTheHelper)
{
    ::unlink(KTHelperServiceFile::path().c_str());
    const std::string apps = std::string(std::getenv("HOME")) + "/apps";
    auto created = runProgram({QUILT_CREATE_PATH, "--url", "https://mail.example.org", "--dest", apps, "--no-site-identity"});
    ASSERT_EQ(created.exitCode, 0) << created.err;
    EXPECT_EQ(KTFileUtil::read(KTHelperServiceFile::path()).value_or(""),
              std::string("[D-BUS Service]\nName=org.quilt.Helper\nExec=") + QUILT_HELPER_PATH + "\n");
    auto pid = answerOnce();
    ASSERT_TRUE(pid);
    char exe[4096] = {};
    ASSERT_GT(::readlink(("/proc/" + std::to_string(*pid) + "/exe").c_str(), exe, sizeof exe - 1), 0);
    EXPECT_STREQ(exe, QUILT_HELPER_PATH);
}

// With nothing to do the helper leaves by itself; the app notices, and the
// next request brings a new one.
TEST_F(HelperLifecycle, IdleHelperExitsAndTheNextRequestStartsItAgain)
{
    auto first = answerOnce();
    ASSERT_TRUE(first);
    EXPECT_TRUE(waitForHelperGone(std::chrono::seconds(10))) << "still running after the idle time";
    EXPECT_TRUE(waitUntil([&] { return log->count(kTerminated) == 1; }));
    auto second = answerOnce();
    ASSERT_TRUE(second);
    EXPECT_NE(*first, *second);
}

// Killed mid-session, the helper is logged as gone and the next request
// through the same manager starts it again; nothing reconnects by itself.
TEST_F(HelperLifecycle, KilledHelperIsLoggedAndStartedByTheNextRequest)
{
    const std::string site = freshSite("killed");
    ASSERT_EQ(save("pw", "alice", site), true);
    auto first = helperPid();
    ASSERT_TRUE(first);
    ::kill(*first, SIGKILL);
    ASSERT_TRUE(waitUntil([&] { return log->count(kTerminated) == 1; }));
    EXPECT_FALSE(helperPid()) << "something restarted the helper without a request";
    EXPECT_EQ(passwordFor("alice", site), std::optional<std::string>("pw"));
    auto second = helperPid();
    ASSERT_TRUE(second);
    EXPECT_NE(*first, *second);
    EXPECT_EQ(log->count(kUnreachable), 0u);
}

// A helper that hangs costs only the answer: the caller's loop runs on, the
// block is never called, and after the reply timeout the log says why.
TEST_F(HelperLifecycle, HungHelperCostsOnlyTheAnswer)
{
    auto pid = answerOnce();
    ASSERT_TRUE(pid);
    ::kill(*pid, SIGSTOP);
    int ticks = 0;
    guint tick = g_timeout_add(50, [](gpointer n) -> gboolean { ++*static_cast<int*>(n); return G_SOURCE_CONTINUE; }, &ticks);
    bool replied = false;
    manager->credentialsSavedForWithReply(freshSite("hung"), [&](std::vector<KTCredentials>) { replied = true; });
    EXPECT_TRUE(waitUntil([&] { return log->count("error: ") == 1; }, std::chrono::seconds(10)));
    g_source_remove(tick);
    ::kill(*pid, SIGCONT);
    EXPECT_FALSE(replied);
    EXPECT_GT(ticks, 10) << "the caller's main loop stalled";
}

// No activation file: the request fails, the log says the helper cannot be
// reached (once), and the app goes on without an answer.
TEST_F(HelperLifecycle, MissingServiceIsLoggedOnce)
{
    ASSERT_EQ(::unlink(KTHelperServiceFile::path().c_str()), 0);
    bool replied = false;
    manager->saveCredentialsUsernameForURLWithReply("pw", "alice", freshSite("none"), [&](bool) { replied = true; });
    manager->passwordForSavedForWithReply("alice", freshSite("none"), [&](std::optional<std::string>) { replied = true; });
    EXPECT_TRUE(waitUntil([&] { return log->count(kUnreachable) == 1; }));
    manager->credentialsSavedForWithReply(freshSite("none"), [&](std::vector<KTCredentials>) { replied = true; });
    syncWithBus();
    EXPECT_FALSE(replied);
    EXPECT_EQ(log->count(kUnreachable), 1u);
    installServiceFile();
    EXPECT_TRUE(answerOnce());
}

} // namespace
