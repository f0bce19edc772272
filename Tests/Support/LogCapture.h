// What the module logs while a test runs.
#pragma once

#include "Common/Diagnostics/LogManager.h"
#include "Common/Foundation/Mutex.h"

#include <functional>
#include <string>
#include <vector>

class LogCapture : public ILogger
{
public:
    LogCapture() { LogManager::Instance().AddLogger(*this); }
    ~LogCapture() override { LogManager::Instance().RemoveLogger(*this); }

    void Write(const wchar_t* text, int length) noexcept override
    {
        const std::wstring line(text, static_cast<std::size_t>(length));
        if (!m_hookText.empty() && line.find(m_hookText) != std::wstring::npos)
            m_hook();
        const MutexLock lock(m_lock);
        m_lines.push_back(line);
    }

    // Where a line with the text is logged, `action` is called on the thread that logs it. While no thread logs.
    void Hook(const wchar_t* text, std::function<void()> action)
    {
        m_hookText = text;
        m_hook = std::move(action);
    }

    std::vector<std::wstring> Lines() const
    {
        const MutexLock lock(m_lock);
        return m_lines;
    }

    // How many lines hold all of the texts.
    template <class... Text>
    std::size_t Count(Text... texts) const
    {
        std::size_t count = 0;
        for (const std::wstring& line : Lines())
            count += (... && (line.find(texts) != std::wstring::npos));
        return count;
    }

    // The first line that holds the text, from that text on and without line break; empty when there is none.
    std::wstring From(const std::wstring& text) const
    {
        for (const std::wstring& line : Lines()) {
            if (const std::size_t at = line.find(text); at != std::wstring::npos)
                return line.substr(at, line.size() - at - 2);
        }
        return {};
    }

    void Clear()
    {
        const MutexLock lock(m_lock);
        m_lines.clear();
    }

private:
    std::wstring m_hookText;
    std::function<void()> m_hook;
    mutable Mutex m_lock;
    std::vector<std::wstring> m_lines GUARDED_BY(m_lock);
};
