#include "Tests/Support/FailingAllocations.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace
{

std::atomic<bool> armed{false};
std::atomic<bool> struck{false};
std::atomic<std::size_t> left{0}; // how many allocations still succeed
bool goesOn = false;

bool Fails()
{
    if (!armed)
        return false;
    std::size_t before = left;
    while (before > 0 && !left.compare_exchange_weak(before, before - 1)) {
    }
    if (before > 0 || (struck.exchange(true) && !goesOn))
        return false;
    return true;
}

} // namespace

FailingAllocations::FailingAllocations(std::size_t first, bool forGood)
{
    left = first - 1;
    goesOn = forGood;
    struck = false;
    armed = true;
}

bool FailingAllocations::Struck() const
{
    return struck;
}

bool FailingAllocations::ForGood() const
{
    return goesOn;
}

void FailingAllocations::End()
{
    armed = false;
}

void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    return Fails() ? nullptr : std::malloc(size ? size : 1);
}

void* operator new(std::size_t size)
{
    void* const memory = operator new(size, std::nothrow);
    if (!memory)
        throw std::bad_alloc();
    return memory;
}

void operator delete(void* memory) noexcept
{
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept
{
    std::free(memory);
}
