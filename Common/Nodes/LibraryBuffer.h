// Reading what the node library returns in a caller's buffer.
#pragma once

#include "Common/ErrorHandling/HResult.h"

#include <array>
#include <memory>

// Units of text or bytes: the first on the stack, more on the heap when the library asks for more.
template <class Unit, std::size_t StackUnits>
class LibraryBuffer
{
public:
    // Calls `read(buffer, &size)`, again with a larger buffer while the result is too small and a larger size is
    // reported, and returns the last result.
    template <class Read>
    HRESULT Fill(Read read)
    {
        for (;;) {
            m_size = m_capacity;
            const HRESULT hr = read(Data(), &m_size);
            if (hr != HResultFromWin32(ERROR_INSUFFICIENT_BUFFER) || m_size <= m_capacity)
                return hr;
            m_heap = std::make_unique<Unit[]>(m_size);
            m_capacity = m_size;
        }
    }

    Unit* Data() { return m_heap ? m_heap.get() : m_stack.data(); }
    std::uint32_t Size() const { return m_size; }

private:
    std::array<Unit, StackUnits> m_stack;
    std::unique_ptr<Unit[]> m_heap;
    std::uint32_t m_capacity = StackUnits;
    std::uint32_t m_size = 0;
};

using NameBuffer = LibraryBuffer<wchar_t, 128>;       // names, types, paths: sizes in characters
using ValueBuffer = LibraryBuffer<std::uint8_t, 256>; // attribute values: sizes in bytes

// Whether a library result says that something is absent that need not be there; any other failure is thrown.
[[gnu::always_inline]] inline bool CheckAbsent(HRESULT hr, bool required = false)
{
    if (hr == HResultFromWin32(ERROR_NOT_FOUND) && !required) {
        DropErrorInfo();
        return true;
    }
    CheckHResult(hr);
    return false;
}
