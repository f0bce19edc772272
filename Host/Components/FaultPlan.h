// Failures and delays that a site asks a component of the host for.
#pragma once

#include "Host/Support/Failure.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>

namespace Host
{

// Failures so far, and what the last one said.
struct FailureCount
{
    void Add(std::wstring text)
    {
        ++count;
        lastText = std::move(text);
    }

    std::uint64_t count = 0;
    std::wstring lastText;
};

// How a service that answers with a response lets a request fail.
enum class FaultForm
{
    Call,       // the call fails
    Result,     // the response holds a failure and its error information
    BareResult, // the response holds a failure
};

struct Fault
{
    std::wstring text;
    FaultForm form = FaultForm::Call;
};

// Any thread.
class FaultPlan
{
public:
    // From now on calls about the account (empty: every account) fail.
    void Fail(const std::wstring& account, Fault fault)
    {
        const std::lock_guard guard(m_lock);
        m_faults[account] = std::move(fault);
    }

    // Ends that; empty: for all of them.
    void Recover(const std::wstring& account)
    {
        const std::lock_guard guard(m_lock);
        std::erase_if(m_faults, [&](const auto& fault) { return account.empty() || fault.first == account; });
    }

    // Calls take at least that long.
    void SetDelay(std::chrono::duration<double> delay) { m_delay = delay; }

    // At the beginning of a call: waits, and returns the planned failure, which then counts. Its text begins with
    // `shownName`.
    std::optional<Fault> Next(const std::wstring& account, const std::wstring& shownName)
    {
        std::this_thread::sleep_for(m_delay.load());
        const std::lock_guard guard(m_lock);
        const auto planned = m_faults.contains(account) ? m_faults.find(account) : m_faults.find({});
        if (planned == m_faults.end())
            return std::nullopt;
        Fault fault{shownName + L": " + planned->second.text, planned->second.form};
        m_failures.Add(fault.text);
        return fault;
    }

    // The same, and throws the failure: Failure with HResultFromWin32(ERROR_GEN_FAILURE).
    void Strike(const std::wstring& account, const std::wstring& shownName)
    {
        if (const std::optional<Fault> fault = Next(account, shownName))
            throw Failure{HResultFromWin32(ERROR_GEN_FAILURE), fault->text};
    }

    // Failures that were not planned are counted as well.
    void CountFailure(const std::wstring& text)
    {
        const std::lock_guard guard(m_lock);
        m_failures.Add(text);
    }

    FailureCount Failures() const
    {
        const std::lock_guard guard(m_lock);
        return m_failures;
    }

private:
    std::atomic<std::chrono::duration<double>> m_delay{std::chrono::duration<double>(0)};
    mutable std::mutex m_lock;
    std::map<std::wstring, Fault> m_faults; // m_lock; by account, "" for every account
    FailureCount m_failures;                // m_lock
};

} // namespace Host
