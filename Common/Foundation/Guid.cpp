#include "Common/Foundation/Guid.h"

#include <cwchar>

std::wstring GuidText(const GUID& guid)
{
    wchar_t buffer[40];
    std::swprintf(buffer, std::size(buffer), L"{%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X}",
                  static_cast<unsigned>(guid.Data1), guid.Data2, guid.Data3, guid.Data4[0], guid.Data4[1],
                  guid.Data4[2], guid.Data4[3], guid.Data4[4], guid.Data4[5], guid.Data4[6], guid.Data4[7]);
    return buffer;
}
