#include "Platform/Settings.h"

#include "Tests/Fuzz/Fuzz.h"

// Section, key and variable's value, a line each; then a file that is read as INI file and as registry.
void Try(std::string_view input)
{
    const std::wstring section = TakeText(input);
    const std::wstring key = TakeText(input);
    Platform::SetVariable(L"FUZZ", TakeText(input).c_str());
    const std::wstring file = FileWith(input).wstring();
    const std::wstring value = Platform::IniValue(file, section, key);
    Require(value.find_first_of(L"\r\n") == std::wstring::npos, "a value is one line");
    const std::wstring expanded = Platform::ExpandEnvironment(value);
    Require(value.find(L'%') != std::wstring::npos || expanded == value, "without percent signs nothing expands");
    Platform::SetVariable(L"KESTRINE_REGISTRY_FILE", file.c_str());
    Platform::RegistryTexts(Platform::RegistryRoot::LocalMachine, section);
}
