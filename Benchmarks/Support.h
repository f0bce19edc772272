// What several benchmarks set up.
#pragma once

#include "Common/Diagnostics/LogManager.h"
#include "Common/Diagnostics/LogSeverity.h"
#include "Common/Nodes/KelNodePtr.h"
#include "Tests/Support/ManualClock.h"
#include "Tests/Support/TestEnvironment.h"

#include <malloc.h>

// The log's highest severity while a benchmark runs; without a logger lines go nowhere.
inline void SetMaxSeverity(const wchar_t* severity)
{
    Platform::SetVariable(L"GS_Logger_MaxSeverity", severity);
    // Settings are read anew when they are older than five seconds.
    static std::chrono::minutes moved{0};
    ManualClock clock;
    clock.Advance(++moved);
    LogManager::Instance().IsEnabled(LogSeverity::Err);
}

// An access-info list as a site of that size has it: three containers an item.
inline KelNodePtr MakeAccessInfo(std::int64_t items)
{
    KelNodePtr list = CreateKelNode(nullptr, nullptr);
    for (std::int64_t i = 0; i < items; ++i) {
        const KelNodePtr item = CreateKelNode(nullptr, L"AccessRightsItem");
        item.SetString(L"LogonName", L"DEPARTMENT\\some.user." + std::to_wstring(i));
        item.SetStringList(L"ContainerId",
                           {L"0C8E2B1A-5D3F-4E7A-9B61-2F4D8C7A1E05", L"5B0F3A77-16C2-4D0E-8A9D-7E31B2C4D5F6",
                            L"9D41C6E0-2A8B-4F13-B7C5-60E1F2A3B4C5"});
        list.AddChild(item);
    }
    return list;
}

// Bytes on the heap.
inline double HeapBytes()
{
    return static_cast<double>(mallinfo2().uordblks);
}
