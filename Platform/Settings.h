// Where settings come from: environment variables, INI files, the registry. All are read anew on every call. Any
// thread.
#pragma once

#include "Platform/Types.h"

#include <map>
#include <optional>
#include <string>

namespace Platform
{

// The variable's value, which may be empty; nullopt when it is not defined.
std::optional<std::wstring> EnvironmentVariable(const std::wstring& name);

// Null removes the variable.
HRESULT SetVariable(const std::wstring& name, const wchar_t* value);

// `text` with the values of the variables that stand in it between percent signs; what names no variable stays.
std::wstring ExpandEnvironment(const std::wstring& text);

// The value without the blanks and the pair of quotes around it; empty when the file has none, or cannot be read.
// Section and key are matched without regard to case; the first match counts. The file is in UTF-16LE when it starts
// with that byte-order mark, otherwise in the system's narrow encoding (natively UTF-8). A path without folder names a
// file of the system's own folder.
std::wstring IniValue(const std::wstring& file, const std::wstring& section, const std::wstring& key);

enum class RegistryRoot
{
    LocalMachine,
    CurrentUser
};

// Value name -> text of the key's text values, expandable ones as they stand; values of other types are left out. No
// texts when the key cannot be opened. Natively the registry is the INI file that KESTRINE_REGISTRY_FILE names
// (Posix/Settings.cpp).
std::map<std::wstring, std::wstring> RegistryTexts(RegistryRoot root, const std::wstring& key);

} // namespace Platform
