#include "support.h"

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <new>

// Counting replacements of the global allocation functions. They live in the
// same object file as AllocationCount(), so any test that asks for the count
// links them in.

namespace {
std::atomic<std::size_t> allocations{0};
// Number of the allocation that is to fail; SIZE_MAX for none.
std::atomic<std::size_t> failing{SIZE_MAX};

void* CountedAlloc(std::size_t size) noexcept
{
    const std::size_t number = allocations.fetch_add(1, std::memory_order_relaxed);
    if (number == failing.load(std::memory_order_relaxed)) {
        failing.store(SIZE_MAX, std::memory_order_relaxed);
        return nullptr;
    }
    return std::malloc(size != 0 ? size : 1);
}

void* CountedAllocOrThrow(std::size_t size)
{
    if (void* p = CountedAlloc(size))
        return p;
    throw std::bad_alloc();
}
}  // namespace

void* operator new(std::size_t size) { return CountedAllocOrThrow(size); }
void* operator new[](std::size_t size) { return CountedAllocOrThrow(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return CountedAlloc(size); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return CountedAlloc(size); }
void operator delete(void* p) noexcept { std::free(p); }
void operator delete[](void* p) noexcept { std::free(p); }
void operator delete(void* p, const std::nothrow_t&) noexcept { std::free(p); }
void operator delete[](void* p, const std::nothrow_t&) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }
void operator delete[](void* p, std::size_t) noexcept { std::free(p); }

namespace numora_test {

std::size_t AllocationCount() { return allocations.load(std::memory_order_relaxed); }

void FailAllocation(std::size_t skip)
{
    failing.store(allocations.load(std::memory_order_relaxed) + skip, std::memory_order_relaxed);
}

}  // namespace numora_test
