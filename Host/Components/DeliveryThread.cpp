#include "Host/Components/DeliveryThread.h"

#include "Host/Support/Failure.h"

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <mutex>

namespace Host
{

// Belongs to the thread too, which may outlive the object.
struct DeliveryThread::State
{
    struct Entry
    {
        const void* recipient;
        Delivery delivery;
    };

    void Run();
    void Deliver(Entry entry);

    std::mutex lock;
    std::condition_variable changed;
    std::deque<Entry> queue;         // lock
    const void* recipient = nullptr; // lock; of the delivery that runs; null while none does
    bool stopped = false;            // lock
    FailureCount failures;           // lock
};

DeliveryThread::DeliveryThread() : m_state(std::make_shared<State>()), m_thread([state = m_state] { state->Run(); }) {}

DeliveryThread::~DeliveryThread()
{
    std::deque<State::Entry> dropped;
    {
        const std::lock_guard guard(m_state->lock);
        m_state->stopped = true;
        dropped.swap(m_state->queue);
    }
    m_state->changed.notify_all();
    if (m_thread.get_id() == std::this_thread::get_id())
        m_thread.detach();
    else
        m_thread.join();
}

void DeliveryThread::State::Run()
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
        Deliver(std::move(entry));
        guard.lock();
        recipient = nullptr;
        changed.notify_all();
    }
}

// When this returns, nothing of the delivery is left.
void DeliveryThread::State::Deliver(Entry entry)
{
    const HRESULT result = entry.delivery();
    if (SUCCEEDED(result))
        return;
    std::wstring text = FailureText(result, TakeErrorText());
    const std::lock_guard guard(lock);
    failures.Add(std::move(text));
}

void DeliveryThread::Post(const void* recipient, Delivery delivery)
{
    {
        const std::lock_guard guard(m_state->lock);
        m_state->queue.push_back({recipient, std::move(delivery)});
    }
    m_state->changed.notify_all();
}

void DeliveryThread::Cancel(const void* recipient)
{
    std::vector<State::Entry> dropped; // destroyed when the lock has been left
    std::unique_lock guard(m_state->lock);
    auto& queue = m_state->queue;
    const auto kept = std::stable_partition(queue.begin(), queue.end(),
                                            [&](const State::Entry& entry) { return entry.recipient != recipient; });
    dropped.assign(std::make_move_iterator(kept), std::make_move_iterator(queue.end()));
    queue.erase(kept, queue.end());
    m_state->changed.notify_all();
    if (m_thread.get_id() != std::this_thread::get_id())
        m_state->changed.wait(guard, [&] { return m_state->recipient != recipient; });
    guard.unlock();
}

void DeliveryThread::WaitUntilDelivered()
{
    std::unique_lock guard(m_state->lock);
    m_state->changed.wait(guard, [this] { return m_state->queue.empty() && !m_state->recipient; });
}

FailureCount DeliveryThread::Failures() const
{
    const std::lock_guard guard(m_state->lock);
    return m_state->failures;
}

} // namespace Host
