// Owning pointer to an interface: a convenience for C++ on either side of the boundary, no part of the binary contract.
#pragma once

#include <cstddef>
#include <utility>

// Holds at most one reference to `I`, any type with AddRef and Release. Not synchronised: one instance belongs to one
// thread at a time; copies are independent references.
template <class I>
class ComponentPtr
{
public:
    ComponentPtr() = default;
    ComponentPtr(std::nullptr_t) {}

    // Adds a reference of its own to a borrowed pointer (which may be null).
    explicit ComponentPtr(I* borrowed) : m_pointer(borrowed)
    {
        if (m_pointer)
            m_pointer->AddRef();
    }

    ComponentPtr(const ComponentPtr& other) : ComponentPtr(other.m_pointer) {}
    ComponentPtr(ComponentPtr&& other) noexcept : m_pointer(other.Detach()) {}

    ComponentPtr& operator=(ComponentPtr other) noexcept
    {
        std::swap(m_pointer, other.m_pointer);
        return *this;
    }

    ~ComponentPtr() { Reset(); }

    // Takes over a reference that the caller owns.
    static ComponentPtr Attach(I* owned)
    {
        ComponentPtr result;
        result.m_pointer = owned;
        return result;
    }

    // Hands the reference out and leaves the pointer empty.
    [[nodiscard]] I* Detach() { return std::exchange(m_pointer, nullptr); }

    void Reset()
    {
        if (I* pointer = Detach())
            pointer->Release();
    }

    // For out parameters: releases what is held and gives the address of the empty pointer.
    I** Out()
    {
        Reset();
        return &m_pointer;
    }
    void** OutVoid() { return reinterpret_cast<void**>(Out()); }

    I* Get() const { return m_pointer; }
    I* operator->() const { return m_pointer; }
    I& operator*() const { return *m_pointer; }
    explicit operator bool() const { return m_pointer != nullptr; }
    friend bool operator==(const ComponentPtr& a, const ComponentPtr& b) { return a.m_pointer == b.m_pointer; }

private:
    I* m_pointer = nullptr;
};
