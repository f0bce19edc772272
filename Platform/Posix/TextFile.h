// The text files that the platform works with, on Windows those of the tests' stand-ins. Internal to the platform.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

// A whole file as UTF-8 (a byte-order mark is passed over) or, behind its byte-order mark, UTF-16LE; nullopt when it
// cannot be read.
std::optional<std::wstring> ReadTextFile(const std::wstring& path);

// Reads a file of entries, one a line; blank lines and those that begin with "#" are passed over. `read` takes an entry
// and returns what it expected in its place; null: nothing is wrong. At the first wrong entry the debugger output says
// where and why, and the answer is false, as for a file that cannot be read.
bool ReadEntries(const std::wstring& path, const std::function<const wchar_t*(std::wstring_view entry)>& read);

// Takes the first line off `text`. It ends at a carriage return, a line feed or both.
std::wstring_view TakeLine(std::wstring_view& text);

// Without the blanks around it. The end-of-file character of old editors is a blank as well.
std::wstring_view Trim(std::wstring_view text);

bool EqualIgnoringCase(std::wstring_view a, std::wstring_view b);
