// Owning handle of a node, for code beside the module.
#pragma once

#include "Interfaces/Nodwell.h"

#include <utility>

// Closes what it holds. One instance belongs to one thread at a time.
class NodeHandle
{
public:
    NodeHandle() = default;
    // Takes over a handle that the caller owns.
    explicit NodeHandle(IKelNode* owned) : m_node(owned) {}
    NodeHandle(NodeHandle&& other) noexcept : m_node(other.Detach()) {}
    NodeHandle& operator=(NodeHandle&& other) noexcept
    {
        Reset(other.Detach());
        return *this;
    }
    ~NodeHandle() { Reset(); }

    IKelNode* Get() const { return m_node; }
    [[nodiscard]] IKelNode* Detach() { return std::exchange(m_node, nullptr); }
    explicit operator bool() const { return m_node != nullptr; }

    void Reset(IKelNode* owned = nullptr)
    {
        if (IKelNode* node = std::exchange(m_node, owned))
            KelnCloseNodeHandle(node);
    }

    // For out parameters: closes what is held and gives the address of the empty handle.
    IKelNode** Out()
    {
        Reset();
        return &m_node;
    }

private:
    IKelNode* m_node = nullptr;
};
