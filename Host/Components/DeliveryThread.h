// The thread on which a host component calls its sinks.
#pragma once

#include "Host/Components/FaultPlan.h"

#include <condition_variable>
#include <functional>
#include <list>
#include <memory>

namespace Host
{

// Runs deliveries one at a time, in the order in which they were posted, with no lock held. Any thread may call the
// operations; a delivery may as well, except `WaitUntilDelivered`.
class DeliveryThread
{
public:
    using Delivery = std::function<HRESULT()>;

    DeliveryThread() : m_state(std::make_shared<State>()), m_thread([state = m_state] { state->Run(); }) {}

    // Drops what has not been delivered. When a delivery destroys it, the thread ends by itself.
    ~DeliveryThread()
    {
        std::list<Entry> dropped;
        {
            const std::lock_guard guard(m_state->lock);
            m_state->stopped = true;
            dropped.swap(m_state->queue);
        }
        m_state->changed.notify_all();
        if (IsDelivering())
            m_thread.detach();
        else
            m_thread.join();
    }

    DeliveryThread(const DeliveryThread&) = delete;
    DeliveryThread& operator=(const DeliveryThread&) = delete;

    // `recipient` is any address that stands for who gets the delivery.
    void Post(const void* recipient, Delivery delivery)
    {
        {
            const std::lock_guard guard(m_state->lock);
            m_state->queue.push_back({recipient, std::move(delivery)});
        }
        m_state->changed.notify_all();
    }

    // Drops what is queued for `recipient` and waits for a delivery to it that runs, except on the delivering thread.
    void Cancel(const void* recipient)
    {
        std::list<Entry> dropped; // destroyed when the lock has been left
        std::unique_lock guard(m_state->lock);
        auto& queue = m_state->queue;
        for (auto next = queue.begin(); next != queue.end();) {
            const auto entry = next++;
            if (entry->recipient == recipient)
                dropped.splice(dropped.end(), queue, entry);
        }
        m_state->changed.notify_all();
        if (!IsDelivering())
            m_state->changed.wait(guard, [&] { return m_state->recipient != recipient; });
        guard.unlock();
    }

    // Returns when nothing is queued and nothing runs.
    void WaitUntilDelivered()
    {
        std::unique_lock guard(m_state->lock);
        m_state->changed.wait(guard, [this] { return m_state->queue.empty() && !m_state->recipient; });
    }

    // Deliveries that their sinks answered with a failure.
    FailureCount Failures() const
    {
        const std::lock_guard guard(m_state->lock);
        return m_state->failures;
    }

private:
    struct Entry
    {
        const void* recipient;
        Delivery delivery;
    };

    // Belongs to the thread as well, which may outlive the object.
    struct State
    {
        void Run()
        {
            std::unique_lock guard(lock);
            for (;;) {
                changed.wait(guard, [this] { return stopped || !queue.empty(); });
                if (stopped)
                    return;
                Entry entry = std::move(queue.front());
                queue.pop_front();
                recipient = entry.recipient;
                guard.unlock();
                Deliver(std::move(entry.delivery));
                guard.lock();
                recipient = nullptr;
                changed.notify_all();
            }
        }

        // When this returns, nothing of the delivery is left.
        void Deliver(Delivery&& delivery)
        {
            const Delivery taken = std::move(delivery);
            const HRESULT result = taken();
            if (SUCCEEDED(result))
                return;
            std::wstring text = FailureText(result, TakeErrorText());
            const std::lock_guard guard(lock);
            failures.Add(std::move(text));
        }

        std::mutex lock;
        std::condition_variable changed;
        std::list<Entry> queue;          // lock
        const void* recipient = nullptr; // lock; of the delivery that runs; null while none does
        bool stopped = false;            // lock
        FailureCount failures;           // lock
    };

    bool IsDelivering() const { return m_thread.get_id() == std::this_thread::get_id(); }

    const std::shared_ptr<State> m_state;
    std::thread m_thread;
};

} // namespace Host
