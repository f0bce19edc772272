#include "Common/ErrorHandling/ErrorMessages.h"

#include "Common/Foundation/Singleton.h"
#include "Common/Foundation/Strings.h"
#include "Platform/Mutexes.h"

#include <mutex>
#include <optional>
#include <shared_mutex>
#include <unordered_map>

namespace
{

using Message = std::optional<std::wstring>;

Message FindInSource(DWORD sourceFlag, HMODULE module, DWORD code)
{
    for (const LANGID language : {GetUserDefaultLangID(), LANGID{0}}) {
        wchar_t* text = nullptr;
        const DWORD length = FormatMessageW(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_IGNORE_INSERTS | sourceFlag,
                                            module, code, language, reinterpret_cast<LPWSTR>(&text), 0, nullptr);
        const UniqueLocalText owner(text);
        if (length != 0)
            return std::wstring(text, length);
    }
    return std::nullopt;
}

Message FindInModules(const MessageModules::List& modules, DWORD code)
{
    for (const UniqueModule& module : modules) {
        if (!module)
            break;
        if (Message message = FindInSource(FORMAT_MESSAGE_FROM_HMODULE, module.get(), code))
            return message;
    }
    return std::nullopt;
}

Message Find(HRESULT code, const MessageModules& modules)
{
    constexpr DWORD facilityWin32 = 7;
    const auto number = static_cast<DWORD>(code);
    if (number >= 0x80040200 && number < 0x80050000) {
        if (Message message = FindInModules(modules.Primary(), number))
            return message;
    }
    std::vector<DWORD> candidates{number};
    if (((number >> 16) & 0x1FFF) == facilityWin32)
        candidates.push_back(number & 0xFFFF);
    for (const DWORD candidate : candidates) {
        if (Message message = FindInSource(FORMAT_MESSAGE_FROM_SYSTEM, nullptr, candidate))
            return message;
        if (Message message = FindInModules(modules.Fallback(), candidate))
            return message;
    }
    return std::nullopt;
}

class MessageCache
{
public:
    std::wstring Get(HRESULT code)
    {
        {
            const std::shared_lock lock(m_lock);
            if (const auto found = m_messages.find(code); found != m_messages.end())
                return found->second;
        }
        const std::wstring message = FindErrorMessage(code, MessageModules::Instance());
        const std::unique_lock lock(m_lock);
        return m_messages.emplace(code, message).first->second;
    }

private:
    Native::SharedMutex m_lock;
    std::unordered_map<HRESULT, std::wstring> m_messages; // guarded by m_lock, read under the shared lock
};

} // namespace

std::wstring FindErrorMessage(HRESULT code, const MessageModules& modules)
{
    return std::wstring(Strings::TrimRight(Find(code, modules).value_or(L"<no description>"), L" .\r\n"));
}

std::wstring GetErrorMessage(HRESULT code)
{
    return Singleton<MessageCache>::Instance().Get(code);
}
