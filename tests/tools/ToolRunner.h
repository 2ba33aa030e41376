#pragma once

#include <chrono>
#include <string>
#include <sys/types.h>
#include <vector>

namespace quilt::test {

// Runs a program as a child process with this process's environment (the
// test's HOME and XDG folders), its output going to files, and waits for it
// with a deadline.
class ToolRunner {
public:
    struct Result {
        bool exited = false; // false: still running at the deadline, then killed
        int exitCode = -1;   // 128 + signal when killed by one
        std::string out, err;
        std::vector<std::string> errLines() const;
        std::vector<std::string> outLines() const;
    };

    explicit ToolRunner(std::vector<std::string> argv);
    ~ToolRunner();
    ToolRunner(const ToolRunner&) = delete;
    ToolRunner& operator=(const ToolRunner&) = delete;

    // Runs to completion (killed after the timeout).
    static Result run(const std::vector<std::string>& argv, std::chrono::seconds timeout = std::chrono::seconds(60));

    void start();
    // True once the child has exited; waits at most until the deadline.
    bool waitForExit(std::chrono::steady_clock::time_point deadline);
    bool running() const { return pid_ > 0 && !exited_; }
    // SIGTERM, then SIGKILL if it is still there after the grace time.
    void stop(std::chrono::seconds grace = std::chrono::seconds(10));
    Result result() const;

private:
    std::vector<std::string> argv_;
    std::string folder_;
    pid_t pid_ = -1;
    bool exited_ = false;
    int status_ = 0;
};

} // namespace quilt::test
