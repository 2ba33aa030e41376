#pragma once

namespace quilt {

// While an app is made or removed, SIGTERM, SIGINT and SIGHUP are held and
// taken only between steps (check()), where the rollback can undo what was
// done: a stopped tool leaves no hidden staging bundle, no orphan data
// folder and no launcher of a half-removed app. Nests; the outermost
// restores the signal mask.
class KTInterruption {
public:
    KTInterruption();
    ~KTInterruption();
    KTInterruption(const KTInterruption&) = delete;
    KTInterruption& operator=(const KTInterruption&) = delete;

    // Throws KTCreateFailure (exit code 128 + the signal) when one of the
    // signals arrived since; it is consumed, so the rollback can run.
    static void check();
};

} // namespace quilt
