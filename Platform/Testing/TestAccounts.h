// Accounts for tests.
#pragma once

#include "Platform/Testing/TemporaryFolder.h"

#include <optional>
#include <string>
#include <string_view>

// While it lives, the computer's accounts are those of a file of its own: the process's environment names it, and what
// it named before is put back. One at a time. On Windows the stand-in authz.dll (Platform/Testing/Windows)
// has to lie beside the program. Operations throw std::runtime_error or std::ios_base::failure when that cannot be
// done.
class TestAccounts
{
public:
    // `entries`: UTF-8 lines in the format that Platform/Posix/AccountDirectory.h describes.
    explicit TestAccounts(std::string_view entries);
    ~TestAccounts();
    TestAccounts(const TestAccounts&) = delete;
    TestAccounts& operator=(const TestAccounts&) = delete;

    // Replaces the entries; the next look-up sees the new ones.
    void Write(std::string_view entries);

private:
    TemporaryFolder m_folder;
    std::filesystem::path m_file = m_folder.Path() / "accounts";
    std::filesystem::file_time_type m_time = std::filesystem::file_time_type::clock::now();
    std::optional<std::wstring> m_previous;
};
