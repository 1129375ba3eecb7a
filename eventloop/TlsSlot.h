#pragma once

#include "platform/Threads.h"

// An OS thread-local index: one void* per thread.
class TlsIndex {
public:
    TlsIndex();
    ~TlsIndex();
    TlsIndex(const TlsIndex&) = delete;
    TlsIndex& operator=(const TlsIndex&) = delete;

    void* get() const;
    void set(void* value);

private:
    platform::TlsIndex index;
};

// A thread-local slot holding a pointer per thread, optionally owned.
// Replacing a value destroys the old one; destroying the slot destroys the
// calling thread's value only (other threads' values are theirs to release).
template <typename T>
class TlsSlot {
public:
    // destroy may be null for values the slot doesn't own.
    explicit TlsSlot(void (*destroy)(T*) = nullptr) : destroy(destroy) {}
    ~TlsSlot() { dispose(get()); }
    TlsSlot(const TlsSlot&) = delete;
    TlsSlot& operator=(const TlsSlot&) = delete;

    T* get() const { return static_cast<T*>(index.get()); }

    void set(T* value)
    {
        T* old = get();
        if (old == value) return;
        dispose(old);
        index.set(value);
    }

    // Returns the value and clears the slot without destroying it.
    T* release()
    {
        T* value = get();
        index.set(nullptr);
        return value;
    }

private:
    void dispose(T* value)
    {
        if (value && destroy) destroy(value);
    }

    TlsIndex index;
    void (*destroy)(T*);
};
