// Accounts for tests.
#pragma once

#include "Platform/Settings.h"
#include "Platform/Testing/TemporaryFolder.h"

#include <fstream>
#include <string_view>

// While it lives, the computer's accounts are those of a file of its own, which the process's environment names. One at
// a time. On Windows the stand-in authz.dll (Platform/Testing/Windows) has to lie beside the program. Operations throw
// std::filesystem::filesystem_error when the file cannot be written.
class TestAccounts
{
public:
    // `entries`: UTF-8 lines in the format that Platform/Posix/AccountDirectory.h describes.
    explicit TestAccounts(std::string_view entries)
    {
        Write(entries);
        Platform::SetVariable(L"KESTRINE_ACCOUNTS_FILE", m_file.wstring().c_str());
    }
    ~TestAccounts() { Platform::SetVariable(L"KESTRINE_ACCOUNTS_FILE", nullptr); }
    TestAccounts(const TestAccounts&) = delete;
    TestAccounts& operator=(const TestAccounts&) = delete;

    // Replaces the entries; the next look-up sees the new ones.
    void Write(std::string_view entries)
    {
        std::ofstream(m_file, std::ios::binary) << entries;
        // Two states of one size are told apart even where the clock of the file system is coarse.
        m_time += std::chrono::seconds(2);
        std::filesystem::last_write_time(m_file, m_time);
    }

private:
    TemporaryFolder m_folder;
    std::filesystem::path m_file = m_folder.Path() / "accounts";
    std::filesystem::file_time_type m_time = std::filesystem::file_time_type::clock::now();
};
