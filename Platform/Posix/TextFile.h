// Reading of the text files that the platform works with. Internal to the platform.
#pragma once

#include "Platform/Types.h"

#include <string>
#include <string_view>

// Reads a whole file as UTF-8 (a byte-order mark is passed over) or, behind its byte-order mark, UTF-16LE. Returns
// ERROR_SUCCESS or why it could not be read.
DWORD ReadTextFile(const std::string& path, std::wstring& text);

// What ReadTextFile makes of the file's bytes.
std::wstring DecodeText(std::string_view bytes);

// Takes the first line off `text`. It ends at a carriage return, a line feed or both.
std::wstring_view TakeLine(std::wstring_view& text);

// Without the blanks around it. The end-of-file character of old editors is a blank as well.
std::wstring_view Trim(std::wstring_view text);

bool EqualIgnoringCase(std::wstring_view a, std::wstring_view b);

// Tells whoever watches the debugger output that a file is malformed.
void ReportMalformed(const std::string& path, unsigned line, std::wstring_view expected);
