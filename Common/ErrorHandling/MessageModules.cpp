#include "Common/ErrorHandling/MessageModules.h"

#include "Common/Diagnostics/Log.h"
#include "Common/ErrorHandling/ErrorMessages.h"
#include "Common/ErrorHandling/ErrorText.h"
#include "Common/Foundation/ModuleFile.h"
#include "Common/Foundation/Singleton.h"
#include "Common/Foundation/Strings.h"

#include <algorithm>

namespace
{

std::vector<std::wstring> ReadNames(SettingsStore& store, const wchar_t* key, const wchar_t* defaultValue)
{
    std::wstring names;
    if (store.GetString(L"ErrorHandling", key, names) != S_OK)
        names = defaultValue;
    return Strings::Split(names, L",|;");
}

} // namespace

MessageModules::MessageModules() : MessageModules(SettingsStore::Instance()) {}

MessageModules::MessageModules(SettingsStore& store)
{
    try {
        const std::wstring directory(ModuleFile::DirectoryOf(ModuleFile::Path(ModuleFile::Handle())));
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
    UniqueModule module(
        LoadLibraryExW(path.c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE | LOAD_LIBRARY_AS_IMAGE_RESOURCE));
    if (!module) {
        // The table is not published yet: the text of this very error comes from what is loaded so far.
        const HRESULT code = HResultFromWin32(GetLastError());
        LOG_ERR(L"Loading errormsg module '" << name << L"'" << L" failed: "
                                             << ErrorText(ErrorRecord{code, FindErrorMessage(code, *this), {}}));
        return;
    }
    const auto slot = std::find(list.begin(), list.end(), nullptr);
    if (slot == list.end())
        LOG_ERR(L"Loading errormsg module '" << name << L"'" << L" failed: " << L"No more slots");
    else
        *slot = std::move(module);
}

MessageModules& MessageModules::Instance()
{
    return Singleton<MessageModules>::Instance();
}
