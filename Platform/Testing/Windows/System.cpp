// What the native account code needs of its system, on Windows.
#include "Platform/Posix/TextFile.h"

#include <filesystem>
#include <fstream>
#include <iterator>

DWORD ReadTextFile(const std::string& path, std::wstring& text)
{
    std::filebuf file;
    if (!file.open(std::filesystem::path(std::u8string(path.begin(), path.end())), std::ios::in | std::ios::binary))
        return ERROR_FILE_NOT_FOUND;
    text = DecodeText(std::string(std::istreambuf_iterator<char>(&file), {}));
    return ERROR_SUCCESS;
}
