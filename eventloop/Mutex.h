#pragma once

#include "platform/Threads.h"

// A recursive mutex over one OS mutex.
class Mutex {
public:
    Mutex();
    ~Mutex();
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;

    void lock();
    // True when taken, false when another thread holds it.
    bool tryLock();
    void unlock();

    platform::MutexHandle nativeHandle() const { return handle; }

private:
    platform::MutexHandle handle;
};

// Holds a mutex for a scope.
class MutexLock {
public:
    explicit MutexLock(Mutex& m) : mutex(m) { mutex.lock(); }
    ~MutexLock() { mutex.unlock(); }
    MutexLock(const MutexLock&) = delete;
    MutexLock& operator=(const MutexLock&) = delete;

private:
    Mutex& mutex;
};

// Releases a held mutex for a scope and takes it back at the end.
class MutexUnlock {
public:
    explicit MutexUnlock(Mutex& m) : mutex(m) { mutex.unlock(); }
    ~MutexUnlock() { mutex.lock(); }
    MutexUnlock(const MutexUnlock&) = delete;
    MutexUnlock& operator=(const MutexUnlock&) = delete;

private:
    Mutex& mutex;
};
