#include "Tests/Support/FailingAllocations.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace
{

std::atomic<bool> armed{false};
std::atomic<std::ptrdiff_t> left{0}; // how many allocations still succeed; negative when one has failed
bool goesOn = false;

bool Fails()
{
    if (!armed)
        return false;
    const std::ptrdiff_t before = left--;
    return before == 0 || (before < 0 && goesOn);
}

} // namespace

FailingAllocations::FailingAllocations(std::size_t first, bool forGood)
{
    left = static_cast<std::ptrdiff_t>(first - 1);
    goesOn = forGood;
    armed = true;
}

bool FailingAllocations::Struck() const
{
    return left < 0;
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
