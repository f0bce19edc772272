// The thread on which a host component calls its sinks.
#pragma once

#include "Host/Components/FaultPlan.h"
#include "Platform/Types.h"

#include <functional>
#include <memory>
#include <thread>

namespace Host
{

// Runs deliveries one at a time, in the order in which they were posted, with no lock held. Any thread may call the
// operations; a delivery may too, except `WaitUntilDelivered`.
class DeliveryThread
{
public:
    using Delivery = std::function<HRESULT()>;

    DeliveryThread();
    // Drops what has not been delivered. Destroyed by a delivery, it lets the thread run out by itself.
    ~DeliveryThread();
    DeliveryThread(const DeliveryThread&) = delete;
    DeliveryThread& operator=(const DeliveryThread&) = delete;

    // `recipient` is any address that stands for who gets the delivery.
    void Post(const void* recipient, Delivery delivery);

    // Drops what is queued for `recipient` and waits for a delivery to it that runs, except on the delivering thread.
    void Cancel(const void* recipient);

    // Returns when nothing is queued and nothing runs.
    void WaitUntilDelivered();

    // Deliveries that their sinks answered with a failure.
    FailureCount Failures() const;

private:
    struct State;

    const std::shared_ptr<State> m_state;
    std::thread m_thread;
};

} // namespace Host
