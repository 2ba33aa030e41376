// Load and save times and peak memory of the history and bookmark stores.
//
//   store_bench [RUNS]      (default 5; the median of the runs is printed)
//
// Each run happens in a fresh process so its memory high-water mark is its
// own: "peak MB" is VmHWM after loading and saving minus VmRSS before.

#include "core/config/KTBookmarksManager.h"
#include "core/config/KTBundle.h"
#include "core/config/KTFileUtil.h"
#include "core/config/KTHistoryManager.h"
#include "core/config/KTJson.h"
#include "core/web/KTScriptsManager.h"
#include "core/web/KTWhiteListManager.h"
#include "IsolatedHome.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>
#include <random>
#include <string>
#include <sys/wait.h>
#include <type_traits>
#include <unistd.h>
#include <vector>

using namespace quilt;

namespace {

const char* kWords[] = {"Inbox",    "Réunion",  "Projet",  "Quarterly", "report",  "Überblick", "東京",
                        "Settings", "Dashboard", "Ñandú",  "invoice",   "Planning", "team",      "notes",
                        "Calendar", "Ålesund",  "Kiosk",   "review",    "draft",    "Zürich",    "Issue"};
const char* kHosts[] = {"mail.example.com", "calendar.example.org", "docs.example.net", "intranet.corp.example",
                        "app.example.io"};

std::string pick(std::mt19937& rng, const char* const* list, size_t n) { return list[rng() % n]; }

// A title of about 30 to 60 bytes, made unique by its number.
std::string title(std::mt19937& rng, size_t i)
{
    std::string t;
    size_t target = 30 + rng() % 31;
    while (t.size() < target)
        t += pick(rng, kWords, std::size(kWords)) + " ";
    return t + "- #" + std::to_string(i);
}

// A URL of about 60 to 100 bytes.
std::string url(std::mt19937& rng)
{
    std::string u = "https://" + pick(rng, kHosts, std::size(kHosts)) + "/";
    size_t target = 60 + rng() % 41;
    static const char alphabet[] = "abcdefghijklmnopqrstuvwxyz0123456789";
    while (u.size() < target) {
        u += (rng() % 9 == 0) ? '/' : alphabet[rng() % 36];
        if (u.size() == target - 12)
            u += "?id=";
    }
    return u;
}

std::string historyFile(size_t n)
{
    std::mt19937 rng(42);
    KTJson history = KTJson::object();
    std::time_t when = 1700000000;
    for (size_t i = 0; i < n; ++i) {
        when += static_cast<std::time_t>(rng() % 600);
        history[title(rng, i)] = KTJson{{"url", url(rng)}, {"date", KTHistoryManager::dateString(when)}};
    }
    return json::compact(history);
}

std::string bookmarkFile(size_t n)
{
    std::mt19937 rng(7);
    KTJson bookmarks = KTJson::object();
    for (size_t i = 0; i < n; ++i)
        bookmarks[title(rng, i)] = url(rng);
    return json::compact(bookmarks);
}

long statusKb(const char* field)
{
    FILE* f = std::fopen("/proc/self/status", "r");
    if (!f)
        return 0;
    char line[256];
    long kb = 0;
    size_t len = std::strlen(field);
    while (std::fgets(line, sizeof line, f))
        if (std::strncmp(line, field, len) == 0)
            kb = std::strtol(line + len, nullptr, 10);
    std::fclose(f);
    return kb;
}

struct Sample {
    double loadMs = 0, saveMs = 0, loadCpuMs = 0, saveCpuMs = 0, peakMb = 0;
    size_t entries = 0;
};

using Clock = std::chrono::steady_clock;

double msSince(Clock::time_point start)
{
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

// Processor time of this process (user and system), which other work on a
// busy machine disturbs far less than the wall clock.
double cpuMs()
{
    timespec ts{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &ts);
    return ts.tv_sec * 1e3 + ts.tv_nsec / 1e6;
}

template <class Store>
Sample measure()
{
    Sample s;
    long before = statusKb("VmRSS:");
    double c0 = cpuMs();
    auto t0 = Clock::now();
    std::unique_ptr<Store> store = Store::create();
    s.loadMs = msSince(t0);
    s.loadCpuMs = cpuMs() - c0;
    if constexpr (std::is_same_v<Store, KTHistoryManager>)
        s.entries = store->size();
    else
        s.entries = store->json().size();
    double c1 = cpuMs();
    auto t1 = Clock::now();
    store->save();
    s.saveMs = msSince(t1);
    s.saveCpuMs = cpuMs() - c1;
    s.peakMb = (statusKb("VmHWM:") - before) / 1024.0;
    return s;
}

// Runs one measurement in a fresh process (this program again, with
// "--measure"), so that its memory and its heap start clean.
Sample inFreshProcess(bool history)
{
    int fds[2];
    if (::pipe(fds) != 0)
        std::exit(1);
    pid_t pid = ::fork();
    if (pid == 0) {
        ::close(fds[0]);
        ::dup2(fds[1], STDOUT_FILENO);
        ::execl("/proc/self/exe", "store_bench", "--measure", history ? "history" : "bookmarks", nullptr);
        ::_exit(127);
    }
    ::close(fds[1]);
    Sample s;
    if (::read(fds[0], &s, sizeof s) != static_cast<ssize_t>(sizeof s)) {
        std::fprintf(stderr, "store_bench: a run failed\n");
        std::exit(1);
    }
    ::close(fds[0]);
    int status = 0;
    ::waitpid(pid, &status, 0);
    return s;
}

double median(std::vector<double> v)
{
    std::sort(v.begin(), v.end());
    return v[v.size() / 2];
}

// Parse time alone, the stores' json::parse (simdjson) against nlohmann's
// own DOM parser, on the same text.
void compareParsers(const std::string& text, int runs)
{
    std::vector<double> dom, reader;
    for (int r = 0; r < runs; ++r) {
        auto t0 = Clock::now();
        KTJson a = KTJson::parse(text);
        dom.push_back(msSince(t0));
        auto t1 = Clock::now();
        auto b = json::parse(text);
        reader.push_back(msSince(t1));
        if (!b || *b != a) {
            std::fprintf(stderr, "store_bench: the parsers disagree\n");
            std::exit(1);
        }
    }
    std::printf("\nparse only, %.2f MB history: nlohmann DOM %.2f ms, json::parse (simdjson) %.2f ms\n",
                text.size() / 1048576.0, median(dom), median(reader));
}

} // namespace

// Allow-lists and user-script files as large as a hostile file makes them:
// they load on the interface thread, so the time must grow linearly.
void listLoads(const std::string& folder)
{
    std::printf("\n%-12s %9s %8s %9s\n", "list", "entries", "file MB", "load ms");
    for (size_t n : {size_t(100000), size_t(1000000)}) {
        KTJson patterns = KTJson::array();
        KTJson rules = KTJson::array();
        for (size_t i = 0; i < n; ++i) {
            patterns.push_back("https://host" + std::to_string(i) + ".example/*");
            rules.push_back({{"name", "rule " + std::to_string(i)}, {"state", 1}, {"script", "x()"},
                             {"pattern", {{"p", {{"name", "*site" + std::to_string(i) + "*"}, {"state", 1}}}}}});
        }
        const std::string allow = json::compact({{"allowAll", false}, {"allowPatterns", true}, {"pattern", patterns}});
        const std::string scripts = json::compact(rules);
        KTFileUtil::writeAtomically(folder + "whitelist.json", allow);
        KTFileUtil::writeAtomically(folder + "userscripts.json", scripts);
        auto time = [](auto&& load) {
            const auto t0 = std::chrono::steady_clock::now();
            load();
            return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - t0).count();
        };
        double a = time([&] { KTWhiteListManager list(folder + "whitelist.json"); });
        double u = time([&] { KTScriptsManager list(folder + "userscripts.json"); });
        std::printf("%-12s %9zu %8.2f %9.1f\n", "allow-list", n, allow.size() / 1048576.0, a);
        std::printf("%-12s %9zu %8.2f %9.1f\n", "userscripts", n, scripts.size() / 1048576.0, u);
    }
}

int main(int argc, char** argv)
{
    if (argc == 3 && std::strcmp(argv[1], "--measure") == 0) {
        // The environment and the bundle path come from the parent.
        KTBundle::setMainPath(std::getenv("QUILT_BUNDLE"));
        Sample s = std::strcmp(argv[2], "history") == 0 ? measure<KTHistoryManager>() : measure<KTBookmarksManager>();
        return ::write(STDOUT_FILENO, &s, sizeof s) == static_cast<ssize_t>(sizeof s) ? 0 : 1;
    }
    const int runs = argc > 1 ? std::max(1, std::atoi(argv[1])) : 5;

    // A private home and bundle, so the stores use files of their own.
    char tmpl[] = "/tmp/quilt-bench-XXXXXX";
    const std::string root = ::mkdtemp(tmpl);
    const std::string home = test::isolateHome(root);
    const std::string bundle = test::makeAppBundle(root, "Bench", "1.0", "bench");
    KTBundle::setMainPath(bundle);
    ::setenv("QUILT_BUNDLE", bundle.c_str(), 1);
    const std::string folder = home + "/.local/share/Quilt/bench/";
    KTFileUtil::makeDirectories(folder);

    struct Case {
        const char* name;
        const char* file;
        size_t entries;
        bool history;
    };
    const Case cases[] = {{"history", "history.json", 1000, true},
                          {"history", "history.json", 10000, true},
                          {"history", "history.json", 100000, true},
                          {"bookmarks", "bookmark.json", 10000, false}};

    std::printf("store_bench: median of %d runs, each in its own process\n\n", runs);
    std::printf("%-10s %8s %8s %8s %8s %8s %8s %8s\n", "store", "entries", "file MB", "load ms", "(cpu)", "save ms",
                "(cpu)", "peak MB");
    for (const Case& c : cases) {
        const std::string text = c.history ? historyFile(c.entries) : bookmarkFile(c.entries);
        const std::string path = folder + c.file;
        std::vector<double> load, save, loadCpu, saveCpu, peak;
        for (int r = 0; r < runs; ++r) {
            // Each run loads the same bytes: the previous run's save rewrote them.
            KTFileUtil::writeAtomically(path, text);
            Sample s = inFreshProcess(c.history);
            if (s.entries != c.entries) {
                std::fprintf(stderr, "store_bench: loaded %zu entries, expected %zu\n", s.entries, c.entries);
                return 1;
            }
            if (KTFileUtil::read(path).value_or("") != text) {
                std::fprintf(stderr, "store_bench: the saved file differs from the loaded one\n");
                return 1;
            }
            load.push_back(s.loadMs);
            save.push_back(s.saveMs);
            loadCpu.push_back(s.loadCpuMs);
            saveCpu.push_back(s.saveCpuMs);
            peak.push_back(s.peakMb);
        }
        std::printf("%-10s %8zu %8.2f %8.1f %8.1f %8.1f %8.1f %8.1f\n", c.name, c.entries, text.size() / 1048576.0,
                    median(load), median(loadCpu), median(save), median(saveCpu), median(peak));
        KTFileUtil::removeTree(path);
    }
    compareParsers(historyFile(100000), runs);
    std::printf("\ntarget: history of 100000 entries loads and saves in under 150 ms each (aim: loads in 50 ms)\n");
    listLoads(folder);
    std::printf("\ntarget: lists load in time linear in their size (1000000 within ten times 100000)\n");
    KTFileUtil::removeTree(root);
    return 0;
}
