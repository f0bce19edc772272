#include "Common/ErrorHandling/MessageModules.h"

#include "Common/Diagnostics/Log.h"
#include "Common/ErrorHandling/ErrorText.h"
#include "Common/Foundation/ModuleFile.h"
#include "Common/Foundation/Singleton.h"
#include "Common/Foundation/Strings.h"
#include "Platform/Threads.h"

#include <algorithm>
#include <mutex>
#include <optional>
#include <shared_mutex>
#include <unordered_map>

namespace
{

std::vector<std::wstring> ReadNames(SettingsStore& store, const wchar_t* key, const wchar_t* defaultValue)
{
    std::wstring names;
    if (store.GetString(L"ErrorHandling", key, names) != S_OK)
        names = defaultValue;
    return Strings::Split(names, L",|;");
}

using Message = std::optional<std::wstring>;

Message FindInModules(const MessageModules::List& modules, std::uint32_t code)
{
    for (const Platform::MessageModule& module : modules) {
        if (!module)
            break;
        if (Message message = module.Find(code))
            return message;
    }
    return std::nullopt;
}

Message Find(HRESULT code, const MessageModules& modules)
{
    constexpr std::uint32_t facilityWin32 = 7;
    const auto number = static_cast<std::uint32_t>(code);
    if (number >= 0x80040200 && number < 0x80050000) {
        if (Message message = FindInModules(modules.Primary(), number))
            return message;
    }
    std::vector<std::uint32_t> candidates{number};
    if (((number >> 16) & 0x1FFF) == facilityWin32)
        candidates.push_back(number & 0xFFFF);
    for (const std::uint32_t candidate : candidates) {
        if (Message message = Platform::FindSystemMessage(candidate))
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
    Platform::SharedMutex m_lock;
    std::unordered_map<HRESULT, std::wstring> m_messages; // guarded by m_lock, read under the shared lock
};

} // namespace

MessageModules::MessageModules() : MessageModules(SettingsStore::Instance()) {}

MessageModules::MessageModules(SettingsStore& store)
{
    try {
        const std::wstring directory(ModuleFile::DirectoryOf(ModuleFile::Path()));
        for (const std::wstring& name : ReadNames(store, L"MessageFile", L"Fenwyke.dll")) {
            const bool hasDirectory = name.find_first_of(L"\\/") != std::wstring::npos;
            Load(name, hasDirectory ? name : directory + name, m_primary);
        }
        for (const std::wstring& name : ReadNames(store, L"FallbackMessageFile", L""))
            Load(name, name, m_fallback);
    } catch (const HRX& e) {
        LOG_ERR(L"Loading error message module(s)" << L" failed: " << e.Code());
    }
}

void MessageModules::Load(const std::wstring& name, const std::wstring& path, List& list)
{
    Platform::MessageModule module;
    if (const HRESULT code = Platform::MessageModule::Load(path, module); code < 0) {
        // The table is not published yet: the text of this very error comes from what is loaded so far.
        LOG_ERR(L"Loading errormsg module '" << name << L"' failed: "
                                             << ErrorText(ErrorRecord{code, FindErrorMessage(code, *this), {}}));
        return;
    }
    const auto slot = std::find_if(list.begin(), list.end(), [](const auto& each) { return !each; });
    if (slot == list.end())
        LOG_ERR(L"Loading errormsg module '" << name << L"' failed: No more slots");
    else
        *slot = std::move(module);
}

MessageModules& MessageModules::Instance()
{
    return Singleton<MessageModules>::Instance();
}

std::wstring FindErrorMessage(HRESULT code, const MessageModules& modules)
{
    return std::wstring(Strings::TrimRight(Find(code, modules).value_or(L"<no description>"), L" .\r\n"));
}

std::wstring GetErrorMessage(HRESULT code)
{
    return Singleton<MessageCache>::Instance().Get(code);
}
