// Tokenising and scanning must not touch the heap: configuration reading
// leans on it. This binary counts every global allocation.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <new>
#include <string>
#include <vector>

#include "foundation/Str.h"

namespace {

std::atomic<long> allocations{0};

void* countedAlloc(std::size_t size)
{
    allocations.fetch_add(1, std::memory_order_relaxed);
    if (void* p = std::malloc(size ? size : 1))
        return p;
    throw std::bad_alloc();
}

// Allocations made by the statements inside the block.
template <typename F>
long allocationsDuring(F&& f)
{
    const long before = allocations.load();
    f();
    return allocations.load() - before;
}

}  // namespace

void* operator new(std::size_t size) { return countedAlloc(size); }
void* operator new[](std::size_t size) { return countedAlloc(size); }
void operator delete(void* p) noexcept { std::free(p); }
void operator delete[](void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }
void operator delete[](void* p, std::size_t) noexcept { std::free(p); }

TEST(StrNoAlloc, TheCounterSeesAllocations)
{
    std::vector<StrSegment> v;
    EXPECT_GT(allocationsDuring([&] { v.reserve(8); }), 0);
    std::vector<Str> copies;
    copies.reserve(4);
    acceptor_PopulateStrVector acceptor(copies);
    // Copies of tokens longer than the small-string buffer do allocate.
    EXPECT_GT(allocationsDuring([&] { Str::split("a rather long token that needs the heap;x", acceptor, ';'); }), 0);
}

TEST(StrNoAlloc, TokenisingIntoSegments)
{
    const Str line("perfmon:CPU Load; object = Processor ; counters = % Processor Time;% User Time ; "
                   "instances = _Total,0,1,2,3 ; interval = 10 ; index = main; disabled = 0");
    std::vector<StrSegment> parts;
    std::vector<StrSegment> fields;
    parts.reserve(64);
    fields.reserve(64);
    acceptor_PopulateStrSegmentVector toParts(parts);
    acceptor_PopulateStrSegmentVector toFields(fields);

    std::uint64_t interval = 0;
    bool disabled = true;
    const long count = allocationsDuring([&] {
        Str::split(line, toParts, ';');
        for (StrSegment part : parts) {
            part.trim();
            fields.clear();
            Str::split(part, toFields, StrSegment(" = "), 1);
            if (fields.size() == 2 && fields[0] == "interval")
                fields[1].parseUnsigned64(interval);
            if (fields.size() == 2 && fields[0].equalsNoCase("DISABLED"))
                fields[1].parseBool(disabled);
            if (fields.size() == 2 && fields[0] == "instances") {
                fields.clear();
                Str::split(part.substr(12), toFields, CharClass::listSeparators);
            }
        }
        (void)line.segment().findInClass(CharClass::urlSpecials);
        (void)Str::compareNoCase("ΑΘΗΝΑ", 10, "αθηνα", 10);
    });
    EXPECT_EQ(count, 0);
    EXPECT_EQ(parts.size(), 8u);
    EXPECT_EQ(interval, 10u);
    EXPECT_FALSE(disabled);
}
