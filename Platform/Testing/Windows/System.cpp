// What the layer's account code needs of its system, on Windows.
#include "Platform/Posix/Environment.h"
#include "Platform/Posix/Failure.h"
#include "Platform/Posix/TextFile.h"
#include "Platform/Posix/Win32Settings.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <new>

extern "C" int LCMapStringW(LCID locale, DWORD flags, LPCWSTR text, int length, LPWSTR buffer, int size);

DWORD ReadTextFile(const std::string& path, std::wstring& text)
{
    std::filebuf file;
    if (!file.open(std::filesystem::path(std::u8string(path.begin(), path.end())), std::ios::in | std::ios::binary))
        return ERROR_FILE_NOT_FOUND;
    text = DecodeText(std::string(std::istreambuf_iterator<char>(&file), {}));
    return ERROR_SUCCESS;
}

wchar_t ToUpper(wchar_t c)
{
    constexpr LCID invariant = 0x7F;
    constexpr DWORD upperCase = 0x200;
    wchar_t upper = c;
    LCMapStringW(invariant, upperCase, &c, 1, &upper, 1);
    return upper;
}

std::optional<std::wstring> EnvironmentValue(std::wstring_view name)
{
    const std::wstring key(name);
    std::wstring value(GetEnvironmentVariableW(key.c_str(), nullptr, 0), L'\0');
    if (value.empty())
        return std::nullopt;
    value.resize(GetEnvironmentVariableW(key.c_str(), value.data(), static_cast<DWORD>(value.size())));
    return value;
}

DWORD ExceptionCode() noexcept
{
    try {
        throw;
    } catch (const std::bad_alloc&) {
        return ERROR_NOT_ENOUGH_MEMORY;
    } catch (...) {
        return ERROR_GEN_FAILURE;
    }
}
