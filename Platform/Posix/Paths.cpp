#include "Platform/Posix/Failure.h"
#include "Platform/Posix/Win32Paths.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

namespace
{

bool IsUnc(std::wstring_view path)
{
    return path.starts_with(L"\\\\");
}

// "C:\", "C:", "\\server\share" or "\", as far as the path has it.
std::wstring_view Root(std::wstring_view path)
{
    if (IsUnc(path)) {
        const std::size_t server = path.find(L'\\', 2);
        return server == path.npos ? path : path.substr(0, path.find(L'\\', server + 1));
    }
    const std::size_t drive = path.size() > 1 && path[1] == L':' ? 2 : 0;
    return path.substr(0, drive + (path.substr(drive).starts_with(L'\\') ? 1 : 0));
}

std::wstring Join(std::wstring_view directory, std::wstring_view file)
{
    if (directory.empty() || Root(file).size() > 1)
        return std::wstring(file);
    if (file.empty())
        return std::wstring(directory);
    if (file.front() == L'\\') {
        directory = Root(directory);
        file.remove_prefix(1);
    }
    const bool separated = directory.empty() || directory.ends_with(L'\\');
    return std::wstring(directory) + (separated ? L"" : L"\\") + std::wstring(file);
}

// Resolves "." and "..". Going back over the first folder of a relative path leaves a rooted one, and a ".." in front
// of it stays.
std::wstring Canonical(std::wstring_view path)
{
    std::wstring text(Root(path));
    const bool unc = IsUnc(path);
    std::vector<std::wstring_view> components;
    for (std::size_t begin = text.size() + (unc ? 1 : 0), end = text.size(); end < path.size(); begin = end + 1) {
        end = std::min(path.find(L'\\', begin), path.size());
        const std::wstring_view component = path.substr(begin, end - begin);
        if (component == L".." && !components.empty()) {
            components.pop_back();
            if (components.empty() && text.empty())
                text = L"\\";
        } else if (component != L"." && (component != L".." || text.empty())) {
            components.push_back(component);
        }
    }
    for (std::size_t i = 0; i < components.size(); ++i)
        text.append(i == 0 && !unc ? L"" : L"\\").append(components[i]);
    if (text.empty() || (text.size() == 2 && text[1] == L':'))
        text += L'\\';
    return text;
}

} // namespace

LPWSTR PathCombineW(LPWSTR destination, LPCWSTR directory, LPCWSTR file)
try {
    if (!destination)
        return Fail(ERROR_INVALID_PARAMETER, nullptr);
    std::wstring text;
    if (directory || file)
        text = Join(directory ? directory : L"", file ? file : L"");
    destination[0] = L'\0';
    if ((!directory && !file) || text.size() >= MAX_PATH)
        return nullptr;
    text = Canonical(text);
    std::copy_n(text.c_str(), text.size() + 1, destination);
    return destination;
} catch (...) {
    return Fail(ExceptionCode(), nullptr);
}
