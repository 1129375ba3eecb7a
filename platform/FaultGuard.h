#pragma once

namespace platform {

// Runs fn(context) so that a hardware fault inside it (an access violation
// from a bad pointer argument, a bus error) returns to the caller instead of
// ending the process. Answers false if a fault was caught. Whatever fn had
// under way is abandoned, so fn must not hold locks when it may fault.
// Guards nest; the innermost one catches.
bool runFaultGuarded(void (*fn)(void*), void* context) noexcept;

// For a fatal-signal handler installed after the guard's own: if the fault
// happened under a guard on this thread, returns there (and not here).
// Returns at once otherwise, and always on Windows, where the guard sees
// faults before any other handler.
void escapeToFaultGuard() noexcept;

}  // namespace platform
