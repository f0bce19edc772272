#include "Host/Components/FaultPlan.h"

#include "Host/Support/Failure.h"

#include <thread>

namespace Host
{

void FaultPlan::Fail(const std::wstring& account, Fault fault)
{
    const std::lock_guard guard(m_lock);
    m_faults[account] = std::move(fault);
}

void FaultPlan::Recover(const std::wstring& account)
{
    const std::lock_guard guard(m_lock);
    if (account.empty())
        m_faults.clear();
    else
        m_faults.erase(account);
}

std::optional<Fault> FaultPlan::Next(const std::wstring& account, const std::wstring& shownName)
{
    std::this_thread::sleep_for(m_delay.load());
    const std::lock_guard guard(m_lock);
    auto planned = m_faults.find(account);
    if (planned == m_faults.end())
        planned = m_faults.find({});
    if (planned == m_faults.end())
        return std::nullopt;
    Fault fault{shownName + L": " + planned->second.text, planned->second.form};
    m_failures.Add(fault.text);
    return fault;
}

void FaultPlan::CountFailure(const std::wstring& text)
{
    const std::lock_guard guard(m_lock);
    m_failures.Add(text);
}

void FaultPlan::Strike(const std::wstring& account, const std::wstring& shownName)
{
    if (const std::optional<Fault> fault = Next(account, shownName))
        throw Failure{HResultFromWin32(ERROR_GEN_FAILURE), fault->text};
}

FailureCount FaultPlan::Failures() const
{
    const std::lock_guard guard(m_lock);
    return m_failures;
}

} // namespace Host
