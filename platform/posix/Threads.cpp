#include "platform/Threads.h"

#include <atomic>
#include <cerrno>
#include <ctime>
#include <new>

#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace platform {

namespace {

// Fails with errno set to the pthread result, as the callers read lastOsError.
bool ok(int rc)
{
    if (rc == 0) return true;
    errno = rc;
    return false;
}

timespec deadlineAfter(std::uint32_t timeoutMs)
{
    timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    ts.tv_sec += timeoutMs / 1000;
    ts.tv_nsec += static_cast<long>(timeoutMs % 1000) * 1000000L;
    if (ts.tv_nsec >= 1000000000L) {
        ts.tv_sec += 1;
        ts.tv_nsec -= 1000000000L;
    }
    return ts;
}

bool initMonotonicCond(pthread_cond_t* cond)
{
    pthread_condattr_t attr;
    if (!ok(pthread_condattr_init(&attr))) return false;
    bool result = ok(pthread_condattr_setclock(&attr, CLOCK_MONOTONIC)) && ok(pthread_cond_init(cond, &attr));
    pthread_condattr_destroy(&attr);
    return result;
}

// Waits on cond until *flag, at most timeoutMs; m is held.
std::uint32_t waitFlag(pthread_cond_t* cond, pthread_mutex_t* m, bool* flag, std::uint32_t timeoutMs)
{
    if (timeoutMs == WAIT_FOREVER) {
        while (!*flag) {
            int rc = pthread_cond_wait(cond, m);
            if (rc != 0) {
                errno = rc;
                return WAIT_CALL_FAILED;
            }
        }
        return WAIT_SIGNALLED;
    }
    timespec deadline = deadlineAfter(timeoutMs);
    while (!*flag) {
        int rc = pthread_cond_timedwait(cond, m, &deadline);
        if (rc == ETIMEDOUT) return *flag ? WAIT_SIGNALLED : WAIT_TIMED_OUT;
        if (rc != 0) {
            errno = rc;
            return WAIT_CALL_FAILED;
        }
    }
    return WAIT_SIGNALLED;
}

}  // namespace

// Shared by the owner's handle and the running thread, freed by whichever
// lets go last. A Win32 thread handle can be waited for any number of times;
// pthread_join only once, so waits go through `finished`.
struct ThreadTag {
    pthread_t thread;
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    pthread_cond_t cond;
    bool idKnown = false;
    bool finished = false;
    bool joined = false;
    std::uint32_t id = 0;
    ThreadEntry entry;
    void* arg;
    std::atomic<int> refs{2};
};

namespace {

void releaseThread(ThreadTag* t)
{
    if (t->refs.fetch_sub(1, std::memory_order_acq_rel) == 1) {
        pthread_cond_destroy(&t->cond);
        pthread_mutex_destroy(&t->mutex);
        delete t;
    }
}

void* trampoline(void* p)
{
    ThreadTag* t = static_cast<ThreadTag*>(p);
    pthread_mutex_lock(&t->mutex);
    t->id = currentThreadId();
    t->idKnown = true;
    pthread_cond_broadcast(&t->cond);
    pthread_mutex_unlock(&t->mutex);

    t->entry(t->arg);

    pthread_mutex_lock(&t->mutex);
    t->finished = true;
    pthread_cond_broadcast(&t->cond);
    pthread_mutex_unlock(&t->mutex);
    releaseThread(t);
    return nullptr;
}

}  // namespace

ThreadHandle createThread(std::uint32_t stackSize, ThreadEntry entry, void* arg, std::uint32_t* id)
{
    ThreadTag* t = new (std::nothrow) ThreadTag;
    if (!t) {
        errno = ENOMEM;
        return nullptr;
    }
    t->entry = entry;
    t->arg = arg;
    if (!initMonotonicCond(&t->cond)) {
        delete t;
        return nullptr;
    }
    pthread_attr_t attr;
    int rc = pthread_attr_init(&attr);
    if (rc == 0 && stackSize != 0) {
        if (stackSize < PTHREAD_STACK_MIN) stackSize = PTHREAD_STACK_MIN;
        rc = pthread_attr_setstacksize(&attr, stackSize);
    }
    if (rc == 0) rc = pthread_create(&t->thread, &attr, trampoline, t);
    pthread_attr_destroy(&attr);
    if (rc != 0) {
        pthread_cond_destroy(&t->cond);
        delete t;
        errno = rc;
        return nullptr;
    }
    // The id is only known inside the new thread; it reports it first thing.
    pthread_mutex_lock(&t->mutex);
    while (!t->idKnown) pthread_cond_wait(&t->cond, &t->mutex);
    pthread_mutex_unlock(&t->mutex);
    if (id) *id = t->id;
    return t;
}

std::uint32_t waitForThread(ThreadHandle t, std::uint32_t timeoutMs)
{
    if (!t) {
        errno = EINVAL;
        return WAIT_CALL_FAILED;
    }
    pthread_mutex_lock(&t->mutex);
    std::uint32_t r = waitFlag(&t->cond, &t->mutex, &t->finished, timeoutMs);
    bool joinNow = r == WAIT_SIGNALLED && !t->joined;
    if (joinNow) t->joined = true;
    pthread_mutex_unlock(&t->mutex);
    // The body has returned; this only reaps the OS thread.
    if (joinNow) pthread_join(t->thread, nullptr);
    return r;
}

bool closeThreadHandle(ThreadHandle t)
{
    if (!t) {
        errno = EINVAL;
        return false;
    }
    pthread_mutex_lock(&t->mutex);
    bool detach = !t->joined;
    t->joined = true;
    pthread_mutex_unlock(&t->mutex);
    if (detach) pthread_detach(t->thread);
    releaseThread(t);
    return true;
}

std::uint32_t currentThreadId()
{
    thread_local std::uint32_t id = static_cast<std::uint32_t>(syscall(SYS_gettid));
    return id;
}

void nameCurrentThread(const char* name)
{
    // The first thread's name is the process's name in ps and top: keep it.
    if (currentThreadId() == static_cast<std::uint32_t>(getpid())) return;
    // The kernel keeps 15 bytes.
    char shortName[16];
    std::size_t i = 0;
    for (; name[i] && i < sizeof shortName - 1; ++i) shortName[i] = name[i];
    shortName[i] = 0;
    pthread_setname_np(pthread_self(), shortName);
}

// The owner is tracked so that a release by another thread fails as
// ReleaseMutex does, instead of reaching pthreads as undefined behaviour.
struct MutexTag {
    pthread_mutex_t mutex;
    std::atomic<std::uint32_t> owner{0};
    std::uint32_t depth = 0;
};

namespace {

void taken(MutexTag* m)
{
    if (m->depth++ == 0) m->owner.store(currentThreadId(), std::memory_order_relaxed);
}

// Called by the owner only, before the release itself.
bool releasing(MutexTag* m)
{
    if (m->owner.load(std::memory_order_relaxed) != currentThreadId()) {
        errno = EPERM;
        return false;
    }
    if (--m->depth == 0) m->owner.store(0, std::memory_order_relaxed);
    return true;
}

}  // namespace

MutexHandle createMutex()
{
    MutexTag* m = new (std::nothrow) MutexTag;
    if (!m) {
        errno = ENOMEM;
        return nullptr;
    }
    pthread_mutexattr_t attr;
    int rc = pthread_mutexattr_init(&attr);
    if (rc == 0) rc = pthread_mutexattr_settype(&attr, PTHREAD_MUTEX_RECURSIVE);
    if (rc == 0) rc = pthread_mutex_init(&m->mutex, &attr);
    pthread_mutexattr_destroy(&attr);
    if (rc != 0) {
        delete m;
        errno = rc;
        return nullptr;
    }
    return m;
}

std::uint32_t lockMutex(MutexHandle m, std::uint32_t timeoutMs)
{
    int rc = timeoutMs == 0 ? pthread_mutex_trylock(&m->mutex) : pthread_mutex_lock(&m->mutex);
    if (rc == 0) {
        taken(m);
        return WAIT_SIGNALLED;
    }
    if (rc == EBUSY) return WAIT_TIMED_OUT;
    errno = rc;
    return WAIT_CALL_FAILED;
}

bool unlockMutex(MutexHandle m)
{
    return releasing(m) && ok(pthread_mutex_unlock(&m->mutex));
}

bool closeMutex(MutexHandle m)
{
    if (!m) {
        errno = EINVAL;
        return false;
    }
    int rc = pthread_mutex_destroy(&m->mutex);
    delete m;
    return ok(rc);
}

struct EventTag {
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    pthread_cond_t cond;
    bool signalled = false;
};

EventHandle createEvent()
{
    EventTag* e = new (std::nothrow) EventTag;
    if (!e) {
        errno = ENOMEM;
        return nullptr;
    }
    if (!initMonotonicCond(&e->cond)) {
        delete e;
        return nullptr;
    }
    return e;
}

bool setEvent(EventHandle e)
{
    pthread_mutex_lock(&e->mutex);
    e->signalled = true;
    // Auto-reset: one waiter consumes it, so waking one suffices.
    pthread_cond_signal(&e->cond);
    pthread_mutex_unlock(&e->mutex);
    return true;
}

namespace {

std::uint32_t consume(EventHandle e, std::uint32_t timeoutMs)
{
    std::uint32_t r = waitFlag(&e->cond, &e->mutex, &e->signalled, timeoutMs);
    if (r == WAIT_SIGNALLED) e->signalled = false;
    return r;
}

}  // namespace

std::uint32_t waitForEvent(EventHandle e, std::uint32_t timeoutMs)
{
    pthread_mutex_lock(&e->mutex);
    std::uint32_t r = consume(e, timeoutMs);
    pthread_mutex_unlock(&e->mutex);
    return r;
}

std::uint32_t unlockAndWait(MutexHandle m, EventHandle e, std::uint32_t timeoutMs)
{
    // Holding the event's own lock across the release makes release and wait
    // one step for anyone setting the event.
    if (!releasing(m)) return WAIT_CALL_FAILED;
    pthread_mutex_lock(&e->mutex);
    int rc = pthread_mutex_unlock(&m->mutex);
    if (rc != 0) {
        pthread_mutex_unlock(&e->mutex);
        errno = rc;
        return WAIT_CALL_FAILED;
    }
    std::uint32_t r = consume(e, timeoutMs);
    pthread_mutex_unlock(&e->mutex);
    return r;
}

bool closeEvent(EventHandle e)
{
    if (!e) {
        errno = EINVAL;
        return false;
    }
    pthread_cond_destroy(&e->cond);
    int rc = pthread_mutex_destroy(&e->mutex);
    delete e;
    return ok(rc);
}

bool tlsAlloc(TlsIndex* index)
{
    pthread_key_t key;
    if (!ok(pthread_key_create(&key, nullptr))) return false;
    *index = static_cast<TlsIndex>(key);
    return true;
}

bool tlsGet(TlsIndex index, void** value)
{
    *value = pthread_getspecific(static_cast<pthread_key_t>(index));
    return true;
}

bool tlsSet(TlsIndex index, void* value)
{
    return ok(pthread_setspecific(static_cast<pthread_key_t>(index), value));
}

bool tlsFree(TlsIndex index)
{
    return ok(pthread_key_delete(static_cast<pthread_key_t>(index)));
}

}  // namespace platform
