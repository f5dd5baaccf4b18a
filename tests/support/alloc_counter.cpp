#include "support.h"

#include <atomic>
#include <cstdlib>
#include <new>

// Counting replacements of the global allocation functions. They live in the
// same object file as AllocationCount(), so any test that asks for the count
// links them in.

namespace {
std::atomic<std::size_t> allocations{0};

void* CountedAlloc(std::size_t size) noexcept
{
    allocations.fetch_add(1, std::memory_order_relaxed);
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

}  // namespace numora_test
