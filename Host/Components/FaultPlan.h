// Failures and delays that a site asks a component of the host for.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>
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
    void Fail(const std::wstring& account, Fault fault);
    // Ends that; empty: also for all that were named.
    void Recover(const std::wstring& account);
    // Calls take at least that long.
    void SetDelay(std::chrono::duration<double> delay) { m_delay = delay; }

    // At the beginning of a call: waits, and returns the planned failure, which then counts. Its text begins with
    // `shownName`.
    std::optional<Fault> Next(const std::wstring& account, const std::wstring& shownName);
    // The same, and throws the failure: Failure with HResultFromWin32(ERROR_GEN_FAILURE).
    void Strike(const std::wstring& account, const std::wstring& shownName);

    // Failures that were not planned are counted as well.
    void CountFailure(const std::wstring& text);
    FailureCount Failures() const;

private:
    std::atomic<std::chrono::duration<double>> m_delay{std::chrono::duration<double>(0)};
    mutable std::mutex m_lock;
    std::map<std::wstring, Fault> m_faults; // m_lock; by account, "" for every account
    FailureCount m_failures;                // m_lock
};

} // namespace Host
