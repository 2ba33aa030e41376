#pragma once

#include "TestEnvironment.h"
#include "core/services/KTServiceManager.h"

#include <gio/gio.h>
#include <gtest/gtest.h>
#include <sys/types.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace quilt::test {

// A test inside its own nested desktop session (see CMakeLists.txt): the
// session's bus, keyring and dunst belong to this group alone, and its
// XDG_DATA_HOME is the one the bus reads service files from. Each test gets
// a fresh KTServiceManager (the app's side) with its log captured, and the
// helper's activation file in place.
class HelperSessionTest : public testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    // The helper's process, when it holds org.quilt.Helper.
    static std::optional<pid_t> helperPid();
    static bool waitForHelperGone(std::chrono::milliseconds timeout = std::chrono::seconds(15));
    static GDBusConnection* bus();
    // A site no other test uses: "https://<word>-<random>.example".
    static std::string freshSite(const std::string& word);
    // Runs a program, its standard output.
    static std::string output(const std::vector<std::string>& argv);
    static void installServiceFile();
    // Returns once the bus has answered a request sent after everything this
    // process sent before, and the answers that came back meanwhile were
    // handled: a barrier instead of a sleep.
    static void syncWithBus();

    // Round trips through the manager, waiting up to `timeout` for the reply.
    std::optional<bool> save(const std::string& password, const std::string& user, const std::string& url);
    std::optional<bool> update(const std::string& password, const std::string& user, const std::string& url);
    std::optional<std::vector<KTCredentials>> saved(const std::string& url,
                                                    std::chrono::milliseconds timeout = std::chrono::seconds(15));
    std::optional<std::optional<std::string>> passwordFor(const std::string& user, const std::string& url);

    std::unique_ptr<LogCapture> log;
    std::unique_ptr<KTServiceManager> manager;
};

} // namespace quilt::test
