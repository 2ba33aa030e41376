#include "TestEnvironment.h"

#include "core/config/KTBundle.h"
#include "core/config/KTFileUtil.h"
#include "core/config/KTLog.h"
#include "core/config/KTPaths.h"
#include "core/config/KTShellDelegate.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <gdk-pixbuf/gdk-pixbuf.h>
#include <glib.h>
#include <spawn.h>
#include <sstream>
#include <sys/wait.h>
#include <thread>

extern char** environ;

extern "C" {
// Exported by GLib for its own isolated tests (G_TEST_OPTION_ISOLATE_DIRS)
// but declared in no public header.
void g_set_user_dirs(const gchar* first_dir_type, ...) G_GNUC_NULL_TERMINATED;
}

namespace quilt::test {

namespace {
const char* kVars[] = {"HOME", "XDG_DATA_HOME", "XDG_CONFIG_HOME", "XDG_CACHE_HOME", "QUILT_BUNDLE"};

// GLib reads HOME and the XDG folders once per process, and GIO (which
// application opens what: desktop entries, mimeapps.list) and GTK go by
// that copy. Pointing it at the folders the environment names now lets
// every test of a process have its own. GIO reloads its application
// folders when it sees the configuration folder change.
void followEnvironmentInGLib()
{
    g_set_user_dirs("HOME", KTPaths::home().c_str(), "XDG_DATA_HOME", KTPaths::userDataDir().c_str(),
                    "XDG_CONFIG_HOME", KTPaths::userConfigDir().c_str(), "XDG_CACHE_HOME",
                    KTPaths::userCacheDir().c_str(), nullptr);
    g_reload_user_special_dirs_cache();
}
} // namespace

TestEnvironment::TestEnvironment()
{
    for (const char* v : kVars) {
        const char* old = std::getenv(v);
        savedEnv_.emplace_back(v, old ? old : std::string("\x01"));
    }
    char tmpl[] = "/tmp/quilt-test-XXXXXX";
    root_ = ::mkdtemp(tmpl);
    home_ = isolateHome(root_);
    followEnvironmentInGLib();
    char* uuid = g_uuid_string_random();
    uniqueId_ = uuid;
    g_free(uuid);
    bundle_ = makeBundle("Test", "1.0", uniqueId_);
    KTBundle::setMainPath(bundle_);
    resetSharedStores();
}

TestEnvironment::~TestEnvironment()
{
    resetSharedStores();
    KTShellDelegate::setShared(nullptr);
    for (auto& [name, value] : savedEnv_) {
        if (value == "\x01")
            ::unsetenv(name.c_str());
        else
            ::setenv(name.c_str(), value.c_str(), 1);
    }
    followEnvironmentInGLib();
    if (!std::getenv("QUILT_KEEP_TEST_FILES"))
        KTFileUtil::removeTree(root_);
}

std::string TestEnvironment::dataFolder() const
{
    return home_ + "/.local/share/Quilt/" + uniqueId_ + "/";
}

std::string TestEnvironment::makeBundle(const std::string& name, const std::string& version,
                                        const std::string& uniqueId) const
{
    return makeAppBundle(root_, name, version, uniqueId);
}

void TestEnvironment::writeFile(const std::string& path, const std::string& content) const
{
    KTFileUtil::makeDirectories(KTFileUtil::parentFolder(path));
    ASSERT_TRUE(KTFileUtil::writeAtomically(path, content)) << path;
}

std::string TestEnvironment::readFile(const std::string& path) const
{
    return KTFileUtil::read(path).value_or(std::string());
}

KTJson TestEnvironment::readJson(const std::string& path) const
{
    auto parsed = json::parse(readFile(path));
    return parsed ? *parsed : KTJson();
}

LogCapture::LogCapture()
{
    KTLog::setSink([this](std::string_view line) { lines_.emplace_back(line); });
}

LogCapture::~LogCapture() { KTLog::setSink({}); }

size_t LogCapture::count(const std::string& prefix) const
{
    size_t n = 0;
    for (const auto& l : lines_)
        if (l.rfind(prefix, 0) == 0)
            ++n;
    return n;
}

bool waitUntil(const std::function<bool()>& cond, std::chrono::milliseconds timeout)
{
    const gint64 deadline
        = g_get_monotonic_time() + std::chrono::duration_cast<std::chrono::microseconds>(timeout).count();
    // A ticking source wakes the loop so that cond() is looked at even when
    // nothing else happens.
    guint tick = g_timeout_add(5, [](gpointer) -> gboolean { return G_SOURCE_CONTINUE; }, nullptr);
    bool held = cond();
    while (!held && g_get_monotonic_time() < deadline) {
        g_main_context_iteration(nullptr, TRUE);
        held = cond();
    }
    g_source_remove(tick);
    return held;
}

std::vector<std::string> folderEntries(const std::string& path)
{
    std::vector<std::string> names;
    std::error_code ec;
    for (const auto& e : std::filesystem::directory_iterator(path, ec))
        names.push_back(e.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

std::vector<std::string> setAsideCopies(const std::string& path)
{
    const std::string folder = KTFileUtil::parentFolder(path), prefix = KTFileUtil::lastComponent(path) + ".corrupt-";
    std::vector<std::string> found;
    for (const auto& name : folderEntries(folder))
        if (name.rfind(prefix, 0) == 0)
            found.push_back(folder + "/" + name);
    return found;
}

static std::vector<std::string> linesOf(const std::string& text)
{
    std::vector<std::string> out;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);)
        out.push_back(line);
    return out;
}

std::vector<std::string> ProgramResult::outLines() const { return linesOf(out); }
std::vector<std::string> ProgramResult::errLines() const { return linesOf(err); }

std::string pngDeclaring(uint32_t width, uint32_t height)
{
    GdkPixbuf* pixel = gdk_pixbuf_new(GDK_COLORSPACE_RGB, TRUE, 8, 1, 1);
    gdk_pixbuf_fill(pixel, 0xff0000ff);
    gchar* buffer = nullptr;
    gsize length = 0;
    gdk_pixbuf_save_to_buffer(pixel, &buffer, &length, "png", nullptr, nullptr);
    g_object_unref(pixel);
    std::string png(buffer, length);
    g_free(buffer);
    auto put32 = [&](size_t at, uint32_t v) {
        for (int i = 0; i < 4; ++i)
            png[at + i] = static_cast<char>((v >> (24 - 8 * i)) & 0xff);
    };
    // IHDR: length at 8, type at 12, width 16, height 20, CRC over type and data at 29.
    put32(16, width);
    put32(20, height);
    uint32_t crc = 0xffffffffu;
    for (size_t i = 12; i < 29; ++i) {
        crc ^= static_cast<unsigned char>(png[i]);
        for (int k = 0; k < 8; ++k)
            crc = (crc >> 1) ^ (0xedb88320u & (0u - (crc & 1u)));
    }
    put32(29, crc ^ 0xffffffffu);
    return png;
}

ProgramResult runProgram(const std::vector<std::string>& argv, std::chrono::milliseconds timeout,
                         const std::function<bool()>& stopWhen)
{
    char tmpl[] = "/tmp/quilt-run-XXXXXX";
    const std::string folder = ::mkdtemp(tmpl);
    posix_spawn_file_actions_t io;
    posix_spawn_file_actions_init(&io);
    posix_spawn_file_actions_addopen(&io, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&io, 1, (folder + "/out").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    posix_spawn_file_actions_addopen(&io, 2, (folder + "/err").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    std::vector<char*> args;
    for (const auto& a : argv)
        args.push_back(const_cast<char*>(a.c_str()));
    args.push_back(nullptr);
    pid_t pid = -1;
    const int rc = ::posix_spawnp(&pid, args[0], &io, nullptr, args.data(), environ);
    posix_spawn_file_actions_destroy(&io);
    ProgramResult r;
    if (rc != 0) {
        ADD_FAILURE() << "cannot start " << argv[0];
        KTFileUtil::removeTree(folder);
        return r;
    }
    int status = 0;
    auto reapedBy = [&](std::chrono::steady_clock::time_point deadline, bool watch) {
        while (::waitpid(pid, &status, WNOHANG) != pid) {
            if (std::chrono::steady_clock::now() >= deadline || (watch && stopWhen && stopWhen()))
                return false;
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        return true;
    };
    const auto now = [] { return std::chrono::steady_clock::now(); };
    r.exited = reapedBy(now() + timeout, true);
    if (!r.exited) {
        ::kill(pid, SIGTERM);
        if (!reapedBy(now() + std::chrono::seconds(10), false)) {
            ::kill(pid, SIGKILL);
            ::waitpid(pid, &status, 0);
        }
    }
    r.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    r.out = KTFileUtil::read(folder + "/out").value_or("");
    r.err = KTFileUtil::read(folder + "/err").value_or("");
    KTFileUtil::removeTree(folder);
    return r;
}

} // namespace quilt::test
