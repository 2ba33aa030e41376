#pragma once

#include "IsolatedHome.h"

#include "core/config/KTJson.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace quilt::test {

// A private world for one test: HOME and the XDG folders in a fresh
// temporary folder, and a minimal app bundle with its own unique id set as
// the running app's bundle. Shared stores are reset before and after, so
// each test starts as a first launch.
class TestEnvironment {
public:
    TestEnvironment();
    ~TestEnvironment();
    TestEnvironment(const TestEnvironment&) = delete;
    TestEnvironment& operator=(const TestEnvironment&) = delete;

    const std::string& root() const { return root_; }
    const std::string& home() const { return home_; }
    const std::string& bundlePath() const { return bundle_; }
    const std::string& uniqueId() const { return uniqueId_; }
    // The data folder of the test bundle ("%@/Quilt/%@/").
    std::string dataFolder() const;

    // Makes a bundle folder with Info.plist and a unique id; returns its path.
    std::string makeBundle(const std::string& name, const std::string& version = "1.0",
                           const std::string& uniqueId = "") const;
    void writeFile(const std::string& path, const std::string& content) const;
    std::string readFile(const std::string& path) const;
    KTJson readJson(const std::string& path) const;

    static void resetSharedStores() { test::resetSharedStores(); }

private:
    std::string root_, home_, bundle_, uniqueId_;
    std::vector<std::pair<std::string, std::string>> savedEnv_;
};

// Captures log lines while alive.
class LogCapture {
public:
    LogCapture();
    ~LogCapture();
    const std::vector<std::string>& lines() const { return lines_; }
    size_t count(const std::string& prefix) const;

private:
    std::vector<std::string> lines_;
};

// Runs the thread's default main loop until cond() holds or the timeout
// passes; returns whether it held.
bool waitUntil(const std::function<bool()>& cond, std::chrono::milliseconds timeout = std::chrono::seconds(15));

// A real, complete PNG of one pixel whose header declares width x height:
// a few hundred bytes that would take gigabytes once decoded.
std::string pngDeclaring(uint32_t width, uint32_t height);

// Names in a folder (dot files too), sorted; empty when it does not exist.
std::vector<std::string> folderEntries(const std::string& path);

// What a store moved aside from its unreadable file at path
// ("<name>.corrupt-…"): full paths, sorted.
std::vector<std::string> setAsideCopies(const std::string& path);

struct ProgramResult {
    bool exited = false; // by itself, before the timeout or stopWhen
    int exitCode = -1;   // 128 + signal when killed by one
    std::string out, err;
    std::vector<std::string> outLines() const;
    std::vector<std::string> errLines() const;
};

// Runs a program with this process's environment (the test's HOME) and
// waits for it; when it outlives the timeout or stopWhen() holds, it gets
// SIGTERM, then SIGKILL.
ProgramResult runProgram(const std::vector<std::string>& argv,
                         std::chrono::milliseconds timeout = std::chrono::seconds(60),
                         const std::function<bool()>& stopWhen = {});

} // namespace quilt::test
