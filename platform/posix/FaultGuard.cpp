#include "platform/FaultGuard.h"

#include <csetjmp>
#include <csignal>
#include <mutex>

namespace platform {

namespace {

thread_local sigjmp_buf* currentGuard = nullptr;

}  // namespace

void escapeToFaultGuard() noexcept
{
    if (sigjmp_buf* guard = currentGuard)
        siglongjmp(*guard, 1);
}

namespace {

struct sigaction previousSegv;
struct sigaction previousBus;

void chain(const struct sigaction& previous, int sig, siginfo_t* info, void* uc)
{
    if ((previous.sa_flags & SA_SIGINFO) != 0 && previous.sa_sigaction != nullptr) {
        previous.sa_sigaction(sig, info, uc);
        return;
    }
    if (previous.sa_handler == SIG_DFL || previous.sa_handler == SIG_IGN) {
        // Returning re-runs the faulting instruction, which now ends the
        // process the ordinary way.
        std::signal(sig, SIG_DFL);
        return;
    }
    previous.sa_handler(sig);
}

void onFault(int sig, siginfo_t* info, void* uc)
{
    escapeToFaultGuard();
    chain(sig == SIGSEGV ? previousSegv : previousBus, sig, info, uc);
}

void install()
{
    struct sigaction sa {};
    sa.sa_sigaction = onFault;
    sa.sa_flags = SA_SIGINFO | SA_ONSTACK;
    sigemptyset(&sa.sa_mask);
    sigaction(SIGSEGV, &sa, &previousSegv);
    sigaction(SIGBUS, &sa, &previousBus);
}

}  // namespace

bool runFaultGuarded(void (*fn)(void*), void* context) noexcept
{
    static std::once_flag installed;
    std::call_once(installed, install);

    sigjmp_buf buf;
    sigjmp_buf* const outer = currentGuard;
    // Saving the mask lets the jump out of the handler unblock the signal again.
    if (sigsetjmp(buf, 1) != 0) {
        currentGuard = outer;
        return false;
    }
    currentGuard = &buf;
    fn(context);
    currentGuard = outer;
    return true;
}

}  // namespace platform
