// Message modules: texts by identifier and language. Internal to the layer.
//
// A message module is a UTF-8 text file (UTF-16LE with its byte-order mark will do, too). Every line is blank, a
// comment or a message:
//
//     # comment
//     0x80040201 [0x0409] The report could not be read.\r\n
//     0x80040202 A text in the neutral language
//
// that is: identifier, optional language in brackets (0 if there is none), one blank, text up to the end of the line.
// Numbers are hexadecimal with "0x". In the text \r, \n, \t and \\ stand for the characters that they stand for in C.
// The last of several texts with the same identifier and language counts. There has to be a message at all.
#pragma once

#include "Platform/Posix/Win32Modules.h"

#include <map>
#include <memory>
#include <string>

class MessageModule
{
public:
    // Stores the file's messages in `module`. Returns ERROR_SUCCESS, why the file could not be read, or
    // ERROR_BAD_EXE_FORMAT, with a line to the debugger output, when it is malformed.
    static DWORD Load(const std::string& path, MessageModule& module);

    // Stores the text, which lives as long as the module. One language is chosen for all identifiers: the wanted one,
    // its primary language or the neutral one; where no language is wanted (0), then also the user's and any other.
    // ERROR_RESOURCE_LANG_NOT_FOUND when there is none of them, ERROR_MR_MID_NOT_FOUND when it lacks the identifier.
    DWORD Find(DWORD id, DWORD language, const std::wstring*& text) const;

private:
    std::map<DWORD, std::map<DWORD, std::wstring>> m_languages;
};

// Handles of message modules can be told from load addresses, which are aligned.
HMODULE MakeModuleHandle(std::unique_ptr<MessageModule> module);
MessageModule* MessageModuleFromHandle(HMODULE handle); // null: another module's handle
