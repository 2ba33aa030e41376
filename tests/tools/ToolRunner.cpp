#include "ToolRunner.h"

#include "config/KTFileUtil.h"

#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <spawn.h>
#include <sstream>
#include <stdexcept>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

extern char** environ;

namespace quilt::test {

namespace {
std::vector<std::string> lines(const std::string& text)
{
    std::vector<std::string> out;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);)
        out.push_back(line);
    return out;
}
} // namespace

std::vector<std::string> ToolRunner::Result::errLines() const { return lines(err); }
std::vector<std::string> ToolRunner::Result::outLines() const { return lines(out); }

ToolRunner::ToolRunner(std::vector<std::string> argv)
    : argv_(std::move(argv))
{
    char tmpl[] = "/tmp/quilt-tool-run-XXXXXX";
    if (!::mkdtemp(tmpl))
        throw std::runtime_error("mkdtemp failed");
    folder_ = tmpl;
}

ToolRunner::~ToolRunner()
{
    if (running())
        stop(std::chrono::seconds(2));
    KTFileUtil::removeTree(folder_);
}

void ToolRunner::start()
{
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 1, (folder_ + "/out").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    posix_spawn_file_actions_addopen(&actions, 2, (folder_ + "/err").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    std::vector<char*> args;
    for (auto& a : argv_)
        args.push_back(a.data());
    args.push_back(nullptr);
    int rc = ::posix_spawn(&pid_, args[0], &actions, nullptr, args.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (rc != 0)
        throw std::runtime_error("cannot start " + argv_[0]);
}

bool ToolRunner::waitForExit(std::chrono::steady_clock::time_point deadline)
{
    while (!exited_) {
        pid_t r = ::waitpid(pid_, &status_, WNOHANG);
        if (r == pid_) {
            exited_ = true;
            break;
        }
        if (std::chrono::steady_clock::now() >= deadline)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

void ToolRunner::stop(std::chrono::seconds grace)
{
    if (!running())
        return;
    ::kill(pid_, SIGTERM);
    if (!waitForExit(std::chrono::steady_clock::now() + grace)) {
        ::kill(pid_, SIGKILL);
        waitForExit(std::chrono::steady_clock::now() + std::chrono::seconds(10));
    }
}

ToolRunner::Result ToolRunner::result() const
{
    Result r;
    r.exited = exited_;
    if (exited_)
        r.exitCode = WIFEXITED(status_) ? WEXITSTATUS(status_) : 128 + WTERMSIG(status_);
    r.out = KTFileUtil::read(folder_ + "/out").value_or("");
    r.err = KTFileUtil::read(folder_ + "/err").value_or("");
    return r;
}

ToolRunner::Result ToolRunner::run(const std::vector<std::string>& argv, std::chrono::seconds timeout)
{
    ToolRunner runner(argv);
    runner.start();
    bool done = runner.waitForExit(std::chrono::steady_clock::now() + timeout);
    if (!done)
        runner.stop(std::chrono::seconds(2));
    Result r = runner.result();
    r.exited = done;
    return r;
}

} // namespace quilt::test
