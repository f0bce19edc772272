#include "Platform/Posix/TextFile.h"

#include "Platform/Posix/Failure.h"
#include "Platform/Posix/Handles.h"

#include <cerrno>
#include <cwctype>
#include <fcntl.h>
#include <unistd.h>

namespace
{

DWORD ReadFileBytes(const std::string& path, std::string& bytes)
{
    const FileDescriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!file)
        return ErrorFromErrno(errno, path);
    char chunk[4096];
    for (ssize_t count; (count = read(file.Get(), chunk, sizeof(chunk))) != 0;) {
        if (count > 0)
            bytes.append(chunk, static_cast<std::size_t>(count));
        else if (errno != EINTR)
            return ErrorFromErrno(errno, path);
    }
    return ERROR_SUCCESS;
}

} // namespace

DWORD ReadTextFile(const std::string& path, std::wstring& text)
{
    std::string bytes;
    if (const DWORD error = ReadFileBytes(path, bytes); error != ERROR_SUCCESS)
        return error;
    text = DecodeText(bytes);
    return ERROR_SUCCESS;
}

wchar_t ToUpper(wchar_t c)
{
    static const locale_t unicode = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
    const auto wide = static_cast<wint_t>(c);
    return static_cast<wchar_t>(unicode ? towupper_l(wide, unicode) : towupper(wide));
}
