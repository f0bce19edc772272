#include "Platform/Testing/TestAccounts.h"

#include "Platform/Settings.h"

#include <fstream>
#include <stdexcept>

namespace
{

constexpr wchar_t variable[] = L"KESTRINE_ACCOUNTS_FILE";

} // namespace

TestAccounts::TestAccounts(std::string_view entries) : m_previous(Platform::EnvironmentVariable(variable))
{
    Write(entries);
    if (Platform::SetVariable(variable, m_file.wstring().c_str()) < 0)
        throw std::runtime_error("cannot set KESTRINE_ACCOUNTS_FILE");
}

TestAccounts::~TestAccounts()
{
    Platform::SetVariable(variable, m_previous ? m_previous->c_str() : nullptr);
}

void TestAccounts::Write(std::string_view entries)
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
