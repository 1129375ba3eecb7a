#include "eventloop/TlsSlot.h"

#include "eventloop/ThreadException.h"

TlsIndex::TlsIndex()
{
    if (!platform::tlsAlloc(&index)) throwThreadFailure("TlsAlloc");
}

TlsIndex::~TlsIndex()
{
    if (!platform::tlsFree(index)) {
        try {
            throwThreadFailure("TlsFree");
        } catch (const ThreadException&) {
            // Already logged; a destructor can't pass it on.
        }
    }
}

void* TlsIndex::get() const
{
    void* value = nullptr;
    if (!platform::tlsGet(index, &value)) throwThreadFailure("TlsGetValue");
    return value;
}

void TlsIndex::set(void* value)
{
    if (!platform::tlsSet(index, value)) throwThreadFailure("TlsSetValue");
}
