// SIDs and their texts.
#pragma once

#include "Tests/Platform/Recordings.h"

#include <memory>

struct FreeLocal
{
    void operator()(void* memory) const { LocalFree(memory); }
};
template <class Type>
using UniqueLocal = std::unique_ptr<Type, FreeLocal>;

// Null for a null text.
inline UniqueLocal<void> SidOf(const wchar_t* text)
{
    PSID sid = nullptr;
    EXPECT_TRUE(!text || ConvertStringSidToSidW(text, &sid)) << testing::PrintToString(text);
    return UniqueLocal<void>(sid);
}

// Empty when it has none.
inline std::wstring SidText(PSID sid)
{
    wchar_t* text = nullptr;
    ConvertSidToStringSidW(sid, &text);
    const UniqueLocal<wchar_t> owner(text);
    return text ? text : L"";
}
