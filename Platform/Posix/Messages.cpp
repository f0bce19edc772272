#include "Platform/Posix/Failure.h"
#include "Platform/Posix/MessageModule.h"
#include "Platform/Posix/SystemMessages.h"
#include "Platform/Posix/Win32Messages.h"

#include <algorithm>
#include <cstdlib>

namespace
{

constexpr LANGID english = 0x0409;

DWORD FindSystemText(DWORD id, DWORD language, std::wstring& text)
{
    if (language != 0 && language != english)
        return ERROR_RESOURCE_LANG_NOT_FOUND;
    const wchar_t* const message = SystemMessage(id);
    if (!message)
        return ERROR_MR_MID_NOT_FOUND;
    text = std::wstring(message) + L".\r\n";
    return ERROR_SUCCESS;
}

DWORD FindModuleText(HMODULE handle, DWORD id, DWORD language, std::wstring& text)
{
    const MessageModule* const module = MessageModuleFromHandle(handle);
    if (!module)
        return ERROR_RESOURCE_DATA_NOT_FOUND;
    const std::wstring* message = nullptr;
    const DWORD error = module->Find(id, language, message);
    if (error == ERROR_SUCCESS)
        text = *message;
    return error;
}

// Line breaks become carriage return and line feed; of the sequences with a percent sign, %n, %r and %t stand for a
// character and %0 ends the text, while all others stay. False for a percent sign at the end.
bool Format(const std::wstring& message, std::wstring& text)
{
    for (std::size_t i = 0; i < message.size(); ++i) {
        const wchar_t c = message[i];
        const wchar_t next = i + 1 < message.size() ? message[i + 1] : L'\0';
        if (c == L'\r' || c == L'\n') {
            text += L"\r\n";
            i += c == L'\r' && next == L'\n' ? 1 : 0;
        } else if (c != L'%') {
            text += c;
        } else if (next == L'0') {
            return true;
        } else if (next == L'\0') {
            return false;
        } else {
            text += next == L'n' ? L"\r\n" : next == L'r' ? L"\r" : next == L't' ? L"\t" : message.substr(i, 2);
            ++i;
        }
    }
    return true;
}

} // namespace

DWORD FormatMessageW(DWORD flags, LPCVOID source, DWORD messageId, DWORD languageId, LPWSTR buffer, DWORD size,
                     va_list* /*arguments*/)
try {
    constexpr DWORD always = FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_IGNORE_INSERTS;
    if (!buffer)
        return Fail(ERROR_INVALID_PARAMETER, DWORD{0});
    wchar_t** const result = reinterpret_cast<wchar_t**>(buffer);
    std::wstring message;
    DWORD error = ERROR_SUCCESS;
    if (flags == (always | FORMAT_MESSAGE_FROM_SYSTEM))
        error = FindSystemText(messageId, languageId, message);
    else if (flags == (always | FORMAT_MESSAGE_FROM_HMODULE))
        error = FindModuleText(const_cast<HMODULE>(source), messageId, languageId, message);
    else
        return Fail(ERROR_NOT_SUPPORTED, DWORD{0});
    *result = nullptr;
    if (error != ERROR_SUCCESS)
        return Fail(error, DWORD{0});
    std::wstring text;
    if (!Format(message, text))
        return Fail(ERROR_INVALID_PARAMETER, DWORD{0});
    if (text.empty())
        return Fail(ERROR_NO_WORK_DONE, DWORD{0});
    const std::size_t room = std::max<std::size_t>(text.size() + 1, size);
    *result = static_cast<wchar_t*>(std::malloc(room * sizeof(wchar_t)));
    if (!*result)
        return Fail(ERROR_NOT_ENOUGH_MEMORY, DWORD{0});
    std::copy_n(text.c_str(), text.size() + 1, *result);
    return static_cast<DWORD>(text.size());
} catch (...) {
    return Fail(ExceptionCode(), DWORD{0});
}

HLOCAL LocalFree(HLOCAL memory)
{
    std::free(memory);
    return nullptr;
}

LANGID GetUserDefaultLangID()
{
    return english;
}
