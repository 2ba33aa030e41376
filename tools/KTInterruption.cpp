#include "KTInterruption.h"

#include "KTCreateFailure.h"

#include <csignal>
#include <cstring>
#include <ctime>
#include <string>

namespace quilt {

namespace {
int depth = 0;
sigset_t previous;

sigset_t held()
{
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGTERM);
    sigaddset(&set, SIGINT);
    sigaddset(&set, SIGHUP);
    return set;
}
} // namespace

KTInterruption::KTInterruption()
{
    if (depth++ == 0) {
        sigset_t set = held();
        ::sigprocmask(SIG_BLOCK, &set, &previous);
    }
}

KTInterruption::~KTInterruption()
{
    // A signal still pending here arrived after the last step: it now takes
    // its ordinary course.
    if (--depth == 0)
        ::sigprocmask(SIG_SETMASK, &previous, nullptr);
}

void KTInterruption::check()
{
    if (depth == 0)
        return;
    sigset_t pending;
    sigemptyset(&pending);
    ::sigpending(&pending);
    for (int sig : {SIGTERM, SIGINT, SIGHUP}) {
        if (!sigismember(&pending, sig))
            continue;
        sigset_t one;
        sigemptyset(&one);
        sigaddset(&one, sig);
        const timespec now{0, 0};
        ::sigtimedwait(&one, nullptr, &now);
        throw KTCreateFailure(128 + sig, std::string("stopped by SIG") + sigabbrev_np(sig)
                                             + "; what was done is taken back");
    }
}

} // namespace quilt
