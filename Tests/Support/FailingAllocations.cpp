#include "Tests/Support/FailingAllocations.h"

#include <cstdlib>
#include <new>

void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    return FailingAllocations::Fails() ? nullptr : std::malloc(size ? size : 1);
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
