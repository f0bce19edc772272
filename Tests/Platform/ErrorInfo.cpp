#include "Common/Foundation/Handles.h"
#include "Interfaces/ComponentPtr.h"

#include <gtest/gtest.h>
#include <string>
#include <thread>

namespace
{

using InfoPtr = ComponentPtr<IErrorInfo>;

InfoPtr Create(const wchar_t* description)
{
    ComponentPtr<ICreateErrorInfo> create;
    InfoPtr info;
    EXPECT_EQ(CreateErrorInfo(create.Out()), S_OK);
    EXPECT_EQ(create->SetDescription(const_cast<LPWSTR>(description)), S_OK);
    EXPECT_EQ(create->SetGUID(GUID{1, 2, 3, {4}}), S_OK);
    EXPECT_EQ(create->QueryInterface(IID_IErrorInfo, info.OutVoid()), S_OK);
    return info;
}

// "none" when there is none.
std::wstring Take()
{
    InfoPtr info;
    if (GetErrorInfo(0, info.Out()) != S_OK)
        return info ? L"not taken" : L"none";
    BSTR text = nullptr;
    GUID guid{};
    EXPECT_EQ(info->GetGUID(&guid), S_OK);
    EXPECT_TRUE(guid == (GUID{1, 2, 3, {4}}));
    EXPECT_EQ(info->GetDescription(&text), S_OK);
    const UniqueBstr owner(text);
    return text ? std::wstring(text, SysStringLen(text)) : L"no description";
}

} // namespace

TEST(ErrorInfo, IsTheThreadsIsTakenOnceAndReplacesThePreviousOne)
{
    EXPECT_EQ(Take(), L"none");
    const InfoPtr infos[]{Create(L"d\u00E4"), Create(nullptr)};
    for (const InfoPtr& info : infos)
        EXPECT_EQ(SetErrorInfo(0, info.Get()), S_OK);
    std::thread([&infos] {
        EXPECT_EQ(Take(), L"none") << "another thread's";
        SetErrorInfo(0, infos[0].Get());
    }).join();
    EXPECT_EQ(Take(), L"no description");
    EXPECT_EQ(Take(), L"none");
    SetErrorInfo(0, infos[0].Get());
    EXPECT_EQ(Take(), L"d\u00E4");
    SetErrorInfo(0, infos[0].Get());
    EXPECT_EQ(SetErrorInfo(0, nullptr), S_OK);
    EXPECT_EQ(Take(), L"none");
    for (const InfoPtr& info : infos)
        EXPECT_EQ((info->AddRef(), info->Release()), 1U) << "only the test's is left";
}
