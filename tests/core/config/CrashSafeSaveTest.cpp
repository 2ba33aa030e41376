// Stores saved by a process that is killed outright (SIGKILL, power cut)
// at any moment: every file must still parse, hold a whole save, and never
// go back to an older one.
#include "TestEnvironment.h"

#include "core/config/KTBookmarksManager.h"
#include "core/config/KTFileUtil.h"
#include "core/config/KTHistoryManager.h"
#include "core/config/KTRestoreManager.h"
#include "core/config/KTSettingsManager.h"
#include "core/config/KTWebPageZoomManager.h"

#include <gtest/gtest.h>

#include <csignal>
#include <fcntl.h>
#include <map>
#include <poll.h>
#include <random>
#include <sys/wait.h>
#include <unistd.h>

namespace quilt::test {
namespace {

constexpr int kHistoryEntries = 20000;

std::string urlOf(long generation, int i) { return "https://example.org/" + std::to_string(generation) + "/" + std::to_string(i); }

// The child: saves every store once per generation until it is killed. It
// reports -generation as the history's save starts and the generation
// once every store is saved.
[[noreturn]] void saveForever(long generation, int report)
{
    TestEnvironment::resetSharedStores(); // each round loads what the last one left
    for (;; ++generation) {
        auto& history = KTHistoryManager::sharedManager();
        history.clearHistory();
        for (int i = 0; i < kHistoryEntries; ++i)
            history.addUrlWithNameForDate(urlOf(generation, i), "page " + std::to_string(i), "2026-11-22 10:00:00Z T");
        const long starting = -generation;
        if (::write(report, &starting, sizeof starting) != sizeof starting)
            ::_exit(1);
        history.save();

        KTSettingsManager::sharedManager().setUrl(urlOf(generation, 0));
        KTSettingsManager::sharedManager().saveSettings();

        auto& restore = KTRestoreManager::sharedManager();
        restore.addUrlsForKey({urlOf(generation, 0), urlOf(generation, 1)}, "window0");
        restore.save();

        KTBookmarksManager::sharedManager().addBookMarkForUrl("latest", urlOf(generation, 0));
        KTBookmarksManager::sharedManager().save();

        KTWebPageZoomManager::sharedManager().setZoomValue(static_cast<double>(generation));
        KTWebPageZoomManager::sharedManager().save();

        if (::write(report, &generation, sizeof generation) != sizeof generation)
            ::_exit(1);
    }
}

long generationOf(const std::string& url)
{
    const std::string prefix = "https://example.org/";
    if (url.rfind(prefix, 0) != 0)
        return -1;
    return std::stol(url.substr(prefix.size()));
}

// The generation each store file holds; -1 when it holds no whole save.
std::map<std::string, long> generationsOnDisk(const TestEnvironment& env)
{
    std::map<std::string, long> found;
    auto read = [&](const char* name) {
        std::string error;
        auto text = KTFileUtil::read(env.dataFolder() + name, &error);
        auto parsed = text ? json::parse(*text, &error) : std::nullopt;
        EXPECT_TRUE(parsed && parsed->is_object()) << name << ": " << error;
        return parsed.value_or(KTJson::object());
    };

    KTJson history = read("history.json");
    auto urlAt = [&](int i) -> std::string {
        const KTJson* entry = json::lookup(history, "page " + std::to_string(i));
        return entry ? json::stringFor(*entry, "url").value_or("") : "";
    };
    long g = history.size() == kHistoryEntries ? generationOf(urlAt(0)) : -1;
    for (int i = 0; g >= 0 && i < kHistoryEntries; ++i)
        if (urlAt(i) != urlOf(g, i))
            g = -1;
    found["history"] = g;
    found["settings"] = generationOf(json::stringFor(read("settings.json"), "main_url").value_or(""));
    KTJson restore = read("restore.json");
    const KTJson* window = json::lookup(restore, "window0");
    const KTJson* urls = window ? json::lookup(*window, "url") : nullptr;
    found["restore"] = urls && urls->size() == 2 ? generationOf((*urls)[1].get<std::string>()) : -1;
    found["bookmarks"] = generationOf(json::stringFor(read("bookmark.json"), "latest").value_or(""));
    found["zoom"] = static_cast<long>(json::doubleFor(read("webpagezoom.json"), "currentzoomvalue", -1));
    return found;
}

TEST(CrashSafeSave, StoresKilledAtRandomMomentsKeepAWholeRecentSave)
{
    TestEnvironment env;
    std::mt19937 random(std::random_device{}());
    // The kill lands within or soon after the history's save (20 000
    // entries), where a store written in place would be caught half written.
    std::uniform_int_distribution<int> pause(0, 60000);
    std::map<std::string, long> before;
    long next = 1, completed = 0; // completed: every store saved it
    int rounds = 0;
    for (; rounds < 40; ++rounds) {
        int pipeFds[2];
        ASSERT_EQ(::pipe2(pipeFds, O_CLOEXEC), 0);
        const pid_t child = ::fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            ::close(pipeFds[0]);
            saveForever(next, pipeFds[1]);
        }
        ::close(pipeFds[1]);
        long reported = 0;
        auto nextReport = [&] {
            pollfd p{pipeFds[0], POLLIN, 0};
            return ::poll(&p, 1, 20000) == 1 && ::read(pipeFds[0], &reported, sizeof reported) == sizeof reported;
        };
        // The first round lets one whole save happen, so every file exists.
        bool inSave = false;
        while (!inSave && nextReport()) {
            if (reported > 0)
                completed = reported;
            inSave = reported < 0 && (rounds > 0 || completed >= next);
        }
        ASSERT_TRUE(inSave) << "the saving process stopped reporting";
        ::usleep(static_cast<useconds_t>(pause(random)));
        ::kill(child, SIGKILL);
        int status = 0;
        ::waitpid(child, &status, 0);
        ::fcntl(pipeFds[0], F_SETFL, O_NONBLOCK);
        while (::read(pipeFds[0], &reported, sizeof reported) == sizeof reported)
            if (reported > 0)
                completed = reported;
        ::close(pipeFds[0]);

        std::map<std::string, long> now = generationsOnDisk(env);
        for (const auto& [store, generation] : now) {
            EXPECT_GE(generation, completed) << store << " in round " << rounds << ": older than a finished save";
            EXPECT_GE(generation, before[store]) << store << " went back in round " << rounds;
            next = std::max(next, generation + 1);
        }
        before = now;
        if (testing::Test::HasFailure())
            break;
    }
    for (const auto& name : folderEntries(env.dataFolder()))
        EXPECT_EQ(name.find(".corrupt-"), std::string::npos) << name << ": a store was found unreadable";
    RecordProperty("rounds", rounds);
}

} // namespace
} // namespace quilt::test
