// The program's operators new and delete, for one of its sources to include: allocations fail where AllocationFails,
// which that source defines, says so.
#pragma once

#include <cstdlib>
#include <new>

bool AllocationFails() noexcept;

void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    return AllocationFails() ? nullptr : std::malloc(size != 0 ? size : 1);
}

void* operator new(std::size_t size)
{
    void* const memory = operator new(size, std::nothrow);
    if (!memory)
        throw std::bad_alloc();
    return memory;
}

[[gnu::noinline]] void operator delete(void* memory) noexcept
{
    std::free(memory);
}

[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept
{
    std::free(memory);
}
