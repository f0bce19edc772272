// The thread on which a host component calls its sinks.
#pragma once

#include "Host/Components/FaultPlan.h"

#include <condition_variable>
#include <functional>
#include <list>

namespace Host
{

// Runs deliveries one at a time, in the order in which they were posted, with no lock held. Any thread may call the
// operations; a delivery may as well, except `WaitUntilDelivered`. When it is destroyed, by another thread than its
// own, what has not been delivered is dropped.
class DeliveryThread
{
public:
    using Delivery = std::function<HRESULT()>;

    // `recipient` is any address that stands for who gets the delivery.
    void Post(const void* recipient, Delivery delivery)
    {
        const std::lock_guard guard(m_lock);
        m_queue.push_back({recipient, std::move(delivery)});
        m_changed.notify_all();
    }

    // Drops what is queued for `recipient` and waits for a delivery to it that runs, except on the delivering thread.
    void Cancel(const void* recipient)
    {
        std::list<Entry> dropped; // destroyed when the lock has been left
        std::unique_lock guard(m_lock);
        for (auto next = m_queue.begin(); next != m_queue.end();) {
            const auto entry = next++;
            if (entry->recipient == recipient)
                dropped.splice(dropped.end(), m_queue, entry);
        }
        m_changed.notify_all();
        if (m_thread.get_id() != std::this_thread::get_id())
            m_changed.wait(guard, [&] { return m_recipient != recipient; });
        guard.unlock();
    }

    // Returns when nothing is queued and nothing runs.
    void WaitUntilDelivered()
    {
        std::unique_lock guard(m_lock);
        m_changed.wait(guard, [this] { return m_queue.empty() && !m_recipient; });
    }

    // Deliveries that their sinks answered with a failure.
    FailureCount Failures() const
    {
        const std::lock_guard guard(m_lock);
        return m_failures;
    }

private:
    struct Entry
    {
        const void* recipient;
        Delivery delivery;
    };

    void Run(const std::stop_token& stop)
    {
        std::unique_lock guard(m_lock);
        while (m_changed.wait(guard, stop, [this] { return !m_queue.empty(); }) && !stop.stop_requested()) {
            std::list<Entry> taken;
            taken.splice(taken.end(), m_queue, m_queue.begin());
            m_recipient = taken.front().recipient;
            guard.unlock();
            const HRESULT result = taken.front().delivery();
            std::wstring text = FAILED(result) ? FailureText(result, TakeErrorText()) : std::wstring();
            taken.clear(); // nothing of the delivery is left when others learn that it is over
            guard.lock();
            if (FAILED(result))
                m_failures.Add(std::move(text));
            m_recipient = nullptr;
            m_changed.notify_all();
        }
    }

    mutable std::mutex m_lock;
    std::condition_variable_any m_changed;
    std::list<Entry> m_queue;          // m_lock
    const void* m_recipient = nullptr; // m_lock; of the delivery that runs; null while none does
    FailureCount m_failures;           // m_lock
    std::jthread m_thread{[this](const std::stop_token& stop) { Run(stop); }};
};

} // namespace Host
