#include "Common/Diagnostics/Banner.h"

#include "Common/Foundation/ModuleFile.h"
#include "Common/Foundation/Strings.h"

std::wstring BuildBanner(const std::array<int, 4>& version)
{
    const std::wstring frame = std::wstring(100, L'*') + L"\r\n";
    const HMODULE module = ModuleFile::Handle();
    std::wstring banner = frame;
    banner += L"*** Module: " + ModuleFile::Path(module) + L" (Base: " + Strings::Hex(module) + L")\r\n";
    banner += L"*** Version: " + std::to_wstring(version[0]) + L"." + std::to_wstring(version[1]) + L"." +
              std::to_wstring(version[2]) + L"." + std::to_wstring(version[3]) + L"\r\n";
    banner += L"*** Module description: Kestrine64\r\n";
    banner +=
        L"*** Process: " + ModuleFile::Path(nullptr) + L" (Pid: " + std::to_wstring(GetCurrentProcessId()) + L")\r\n";
    banner += std::wstring(L"*** Command line: ") + GetCommandLineW() + L"\r\n";
    banner += frame;
    return banner;
}
