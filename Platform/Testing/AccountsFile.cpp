#include "Platform/Testing/AccountsFile.h"

#include "Platform/Testing/AuthzCounts.h"
#include "Platform/Win32.h"

#include <fstream>
#include <stdexcept>

namespace
{

constexpr wchar_t variable[] = L"KESTRINE_ACCOUNTS_FILE";

std::optional<std::wstring> Value()
{
    std::wstring value(GetEnvironmentVariableW(variable, nullptr, 0), L'\0');
    if (value.empty())
        return std::nullopt;
    value.resize(GetEnvironmentVariableW(variable, value.data(), static_cast<DWORD>(value.size())));
    return value;
}

} // namespace

AccountsFile::AccountsFile(std::string_view entries) : m_previous(Value())
{
    CountAuthzContexts(); // throws unless the stand-ins are there
    Write(entries);
    if (!SetEnvironmentVariableW(variable, m_file.wstring().c_str()))
        throw std::runtime_error("cannot set KESTRINE_ACCOUNTS_FILE");
}

AccountsFile::~AccountsFile()
{
    SetEnvironmentVariableW(variable, m_previous ? m_previous->c_str() : nullptr);
}

void AccountsFile::Write(std::string_view entries)
{
    std::ofstream stream;
    stream.exceptions(std::ios::failbit | std::ios::badbit);
    stream.open(m_file, std::ios::binary);
    stream << entries;
    stream.close();
    // Two states of one size are told apart even where the clock of the file system is coarse.
    m_time += std::chrono::seconds(2);
    std::filesystem::last_write_time(m_file, m_time);
}
