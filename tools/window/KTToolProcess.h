#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace quilt {

// One run of quilt-create (or of its site probe) from the window's main loop:
// started with GSubprocess, its output collected, its end reported through
// a callback. A new start, or the owner's end, stops the run before: with
// SIGTERM, which quilt-create answers by undoing its half-made app.
class KTToolProcess {
public:
    struct Result {
        bool started = false;
        int exitCode = -1; // 128 + signal when killed by one
        std::string out, err;
        // The tool's last line on standard error without its "quilt-create: "
        // prefix, or why it could not run: what the window shows.
        std::string errorLine() const;
    };
    using Done = std::function<void(const Result&)>;

    KTToolProcess();
    ~KTToolProcess();
    KTToolProcess(const KTToolProcess&) = delete;
    KTToolProcess& operator=(const KTToolProcess&) = delete;

    void start(const std::vector<std::string>& argv, Done done);
    void stop();
    bool running() const;

    // $QUILT_CREATE, else quilt-create beside this program (the build tree),
    // else in ../../bin from it (libexec/quilt of a prefix), else the one
    // on PATH.
    static std::string createTool();
    // How to ask about a site: `quilt-create --probe URL`, or the program in
    // $QUILT_CREATE_PROBE given the same arguments.
    static std::vector<std::string> probeCommand(const std::string& url);

private:
    struct Run;
    std::shared_ptr<Run> run_;
};

} // namespace quilt
