#include "platform/FaultGuard.h"

#include <windows.h>
#include <intrin.h>

namespace platform {

namespace {

struct Guard {
    void* jump[5];
    Guard* outer;
#ifndef _WIN64
    // x86 keeps its handler registrations on the stack, chained from fs:[0];
    // frames skipped by the jump must be unchained too.
    unsigned long sehChain;
#endif
};

thread_local Guard* currentGuard = nullptr;

// Runs in place of the faulting instruction, on the faulting thread's stack,
// once the handler has returned: an ordinary context to jump from.
[[noreturn]] void resume()
{
    Guard* g = currentGuard;
#ifndef _WIN64
    __writefsdword(0, g->sehChain);
#endif
    __builtin_longjmp(g->jump, 1);
}

bool isHardwareFault(DWORD code)
{
    switch (code) {
    case EXCEPTION_ACCESS_VIOLATION:
    case EXCEPTION_IN_PAGE_ERROR:
    case EXCEPTION_DATATYPE_MISALIGNMENT:
    case EXCEPTION_ARRAY_BOUNDS_EXCEEDED:
    case EXCEPTION_INT_DIVIDE_BY_ZERO:
    case EXCEPTION_ILLEGAL_INSTRUCTION:
        return true;
    default:
        return false;
    }
}

LONG CALLBACK onException(EXCEPTION_POINTERS* info)
{
    if (currentGuard == nullptr || !isHardwareFault(info->ExceptionRecord->ExceptionCode))
        return EXCEPTION_CONTINUE_SEARCH;
    CONTEXT* c = info->ContextRecord;
    // Leave room below the faulting frame and align as a call would.
#ifdef _WIN64
    c->Rsp = ((c->Rsp - 256) & ~static_cast<DWORD64>(15)) - 8;
    c->Rip = reinterpret_cast<DWORD64>(&resume);
#else
    c->Esp = ((c->Esp - 256) & ~static_cast<DWORD>(15)) - 4;
    c->Eip = reinterpret_cast<DWORD>(&resume);
#endif
    return EXCEPTION_CONTINUE_EXECUTION;
}

}  // namespace

void escapeToFaultGuard() noexcept {}

bool runFaultGuarded(void (*fn)(void*), void* context) noexcept
{
    static PVOID handler = AddVectoredExceptionHandler(1, onException);
    (void)handler;

    Guard g;
    g.outer = currentGuard;
#ifndef _WIN64
    g.sehChain = __readfsdword(0);
#endif
    if (__builtin_setjmp(g.jump) != 0) {
        currentGuard = g.outer;
        return false;
    }
    currentGuard = &g;
    fn(context);
    currentGuard = g.outer;
    return true;
}

}  // namespace platform
