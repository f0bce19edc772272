#include "Common/Helpers/LocalComputer.h"

#include "Common/ErrorHandling/HResult.h"

std::wstring GetLocalComputerName()
{
    constexpr DWORD usualSize = 16; // 15 characters are the limit of a NetBIOS name
    std::wstring name(usualSize, L'\0');
    DWORD size = usualSize;
    if (!GetComputerNameExW(ComputerNameNetBIOS, name.data(), &size)) {
        if (GetLastError() != ERROR_MORE_DATA)
            ThrowLastError();
        name.resize(++size);
        if (!GetComputerNameExW(ComputerNameNetBIOS, name.data(), &size))
            ThrowLastError();
    }
    name.resize(size);
    return name;
}
