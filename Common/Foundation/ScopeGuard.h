// A clean-up that runs when the scope is left, unless it was disarmed.
#pragma once

#include <utility>

template <class Action>
class [[nodiscard]] ScopeGuard
{
public:
    explicit ScopeGuard(Action action) : m_action(std::move(action)) {}
    ~ScopeGuard()
    {
        if (m_armed)
            m_action();
    }
    ScopeGuard(const ScopeGuard&) = delete;
    ScopeGuard& operator=(const ScopeGuard&) = delete;

    void Disarm() { m_armed = false; }

private:
    Action m_action;
    bool m_armed = true;
};
