#include "KTToolProcess.h"

#include "core/config/GRef.h"

#include <gio/gio.h>
#include <csignal>
#include <cstdlib>
#include <unistd.h>

namespace quilt {

// Shared with the pending callback, which outlives a stopped run.
struct KTToolProcess::Run {
    GRef<GSubprocess> process;
    GRef<GCancellable> cancellable;
    Done done;
    bool finished = false;
};

std::string KTToolProcess::Result::errorLine() const
{
    if (!started)
        return err;
    std::string text = err;
    while (!text.empty() && (text.back() == '\n' || text.back() == ' '))
        text.pop_back();
    std::string line = text.substr(text.rfind('\n') == std::string::npos ? 0 : text.rfind('\n') + 1);
    const std::string prefix = "quilt-create: ";
    if (line.rfind(prefix, 0) == 0)
        line.erase(0, prefix.size());
    if (line.empty() && exitCode != 0)
        line = exitCode > 128 ? "quilt-create was stopped by signal " + std::to_string(exitCode - 128)
                              : "quilt-create failed with exit status " + std::to_string(exitCode);
    return line;
}

KTToolProcess::KTToolProcess() = default;

KTToolProcess::~KTToolProcess() { stop(); }

bool KTToolProcess::running() const { return run_ && !run_->finished; }

void KTToolProcess::stop()
{
    if (!running())
        return;
    g_cancellable_cancel(run_->cancellable.get());
    g_subprocess_send_signal(run_->process.get(), SIGTERM);
    run_->finished = true;
    run_.reset();
}

void KTToolProcess::start(const std::vector<std::string>& argv, Done done)
{
    stop();
    std::vector<const char*> args;
    for (const auto& a : argv)
        args.push_back(a.c_str());
    args.push_back(nullptr);
    GError* error = nullptr;
    auto process = GRef<GSubprocess>::adopt(g_subprocess_newv(
        args.data(), GSubprocessFlags(G_SUBPROCESS_FLAGS_STDOUT_PIPE | G_SUBPROCESS_FLAGS_STDERR_PIPE), &error));
    if (!process) {
        Result r;
        r.err = "cannot run " + argv.front() + ": " + error->message;
        g_error_free(error);
        done(r);
        return;
    }
    auto run = std::make_shared<Run>();
    run->process = process;
    run->cancellable = GRef<GCancellable>::adopt(g_cancellable_new());
    run->done = std::move(done);
    run_ = run;
    g_subprocess_communicate_async(
        process.get(), nullptr, run->cancellable.get(),
        [](GObject* source, GAsyncResult* result, gpointer data) {
            std::unique_ptr<std::shared_ptr<Run>> holder(static_cast<std::shared_ptr<Run>*>(data));
            std::shared_ptr<Run> run = *holder;
            GBytes* out = nullptr;
            GBytes* err = nullptr;
            GError* error = nullptr;
            const bool ok = g_subprocess_communicate_finish(G_SUBPROCESS(source), result, &out, &err, &error);
            auto text = [](GBytes* b) {
                gsize n = 0;
                const char* p = b ? static_cast<const char*>(g_bytes_get_data(b, &n)) : nullptr;
                std::string s = p ? std::string(p, n) : std::string();
                if (b)
                    g_bytes_unref(b);
                return s;
            };
            Result r;
            r.out = text(out);
            r.err = text(err);
            const std::string problem = error ? error->message : "";
            g_clear_error(&error);
            if (run->finished)
                return; // stopped: nobody waits for it any more
            run->finished = true;
            if (!ok) {
                r.err = "lost the output of quilt-create: " + problem;
                run->done(r);
                return;
            }
            GSubprocess* p = G_SUBPROCESS(source);
            r.started = true;
            r.exitCode = g_subprocess_get_if_exited(p) ? g_subprocess_get_exit_status(p)
                                                       : 128 + g_subprocess_get_term_sig(p);
            run->done(r);
        },
        new std::shared_ptr<Run>(run));
}

namespace {

std::string ownFolder()
{
    char buf[4096];
    const ssize_t n = ::readlink("/proc/self/exe", buf, sizeof buf - 1);
    if (n <= 0)
        return {};
    std::string path(buf, static_cast<size_t>(n));
    return path.substr(0, path.rfind('/'));
}

} // namespace

std::string KTToolProcess::createTool()
{
    if (const char* tool = std::getenv("QUILT_CREATE"); tool && *tool)
        return tool;
    const std::string folder = ownFolder();
    for (const std::string& candidate : {folder + "/quilt-create", folder + "/../../bin/quilt-create"})
        if (!folder.empty() && ::access(candidate.c_str(), X_OK) == 0)
            return candidate;
    return "quilt-create";
}

std::vector<std::string> KTToolProcess::probeCommand(const std::string& url)
{
    // A test-only stand-in can answer for the tool.
    const char* standIn = std::getenv("QUILT_CREATE_PROBE");
    return {standIn && *standIn ? std::string(standIn) : createTool(), "--probe", url};
}

} // namespace quilt
