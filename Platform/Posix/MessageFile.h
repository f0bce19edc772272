// Message modules are text files here. Internal to the platform.
//
// UTF-8 (or UTF-16LE with its byte-order mark). Every line is blank, a comment or a message:
//
//     # comment
//     0x80040201 [0x0409] The report could not be read.\r\n
//     0x80040202 A text in the neutral language
//
// that is: identifier, optional language in brackets (0 if there is none), one blank, text up to the end of the line.
// Numbers are hexadecimal with "0x". In the text \r, \n, \t and \\ stand for the characters that they stand for in C.
// The last of several texts with the same identifier and language counts. There has to be a message at all.
#pragma once

#include "Platform/Types.h"

#include <map>
#include <optional>
#include <string>

class MessageFile
{
public:
    // ERROR_SUCCESS, why the file could not be read, or ERROR_BAD_EXE_FORMAT, with a line to the debugger output, when
    // it is malformed.
    DWORD Load(const std::string& path);

    // In the user's language (English), its primary language or the neutral one; else in the neutral or any other.
    std::optional<std::wstring> Find(std::uint32_t id) const;

private:
    using Messages = std::map<std::uint32_t, std::wstring>;
    const Messages* FirstOf(std::initializer_list<std::uint32_t> languages) const;

    std::map<std::uint32_t, Messages> m_languages;
};
