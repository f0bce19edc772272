#include "Platform/Win32.h"

#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <thread>

namespace
{

struct ReleaseInterface
{
    void operator()(IUnknown* object) const { object->Release(); }
};
template <class I>
using Pointer = std::unique_ptr<I, ReleaseInterface>;

template <class I>
Pointer<I> Query(IUnknown& object, REFIID iid)
{
    void* out = nullptr;
    EXPECT_EQ(object.QueryInterface(iid, &out), S_OK);
    return Pointer<I>(static_cast<I*>(out));
}

Pointer<IErrorInfo> Create()
{
    ICreateErrorInfo* info = nullptr;
    EXPECT_EQ(CreateErrorInfo(&info), S_OK);
    return Query<IErrorInfo>(*Pointer<ICreateErrorInfo>(info), IID_IErrorInfo);
}

Pointer<IErrorInfo> Take()
{
    IErrorInfo* info = nullptr;
    const HRESULT hr = GetErrorInfo(0, &info);
    EXPECT_EQ(hr, info ? S_OK : S_FALSE);
    return Pointer<IErrorInfo>(info);
}

std::wstring Description(IErrorInfo& info)
{
    BSTR text = nullptr;
    EXPECT_EQ(info.GetDescription(&text), S_OK);
    const std::unique_ptr<wchar_t, decltype(&SysFreeString)> owner(text, &SysFreeString);
    return text ? std::wstring(text, SysStringLen(text)) : L"<null>";
}

ULONG References(IUnknown& object)
{
    object.AddRef();
    return object.Release();
}

} // namespace

TEST(ErrorInfo, IsTakenOnceAndReplacesThePreviousOne)
{
    EXPECT_FALSE(Take());
    const Pointer<IErrorInfo> first = Create();
    const Pointer<IErrorInfo> second = Create();
    EXPECT_EQ(SetErrorInfo(0, first.get()), S_OK);
    EXPECT_EQ(References(*first), 2U);
    EXPECT_EQ(SetErrorInfo(0, second.get()), S_OK);
    EXPECT_EQ(References(*first), 1U);
    EXPECT_EQ(Take(), second);
    EXPECT_EQ(References(*second), 1U) << "the thread's reference was the taker's";
    EXPECT_FALSE(Take());
    SetErrorInfo(0, first.get());
    EXPECT_EQ(SetErrorInfo(0, nullptr), S_OK);
    EXPECT_EQ(References(*first), 1U);
    EXPECT_EQ(SetErrorInfo(1, first.get()), E_INVALIDARG);
    EXPECT_EQ(GetErrorInfo(0, nullptr), E_INVALIDARG);
}

TEST(ErrorInfo, BelongsToTheThread)
{
    const Pointer<IErrorInfo> info = Create();
    SetErrorInfo(0, info.get());
    std::thread([&info] {
        EXPECT_FALSE(Take());
        SetErrorInfo(0, info.get());
    }).join();
    EXPECT_EQ(Take(), info);
    EXPECT_EQ(References(*info), 1U) << "a thread that ends lets go";
}

TEST(ErrorInfo, FieldsComeBackAsSet)
{
    const Pointer<IErrorInfo> info = Create();
    const auto create = Query<ICreateErrorInfo>(*info, IID_ICreateErrorInfo);
    EXPECT_EQ(Description(*info), L"<null>");
    EXPECT_EQ(create->SetDescription(const_cast<LPWSTR>(L"d\u00E4")), S_OK);
    EXPECT_EQ(Description(*info), L"d\u00E4");
    EXPECT_EQ(create->SetDescription(nullptr), S_OK);
    EXPECT_EQ(Description(*info), L"<null>");
    EXPECT_EQ(info->GetDescription(nullptr), E_INVALIDARG);
    GUID guid{};
    EXPECT_EQ(create->SetGUID(GUID{1, 2, 3, {4}}), S_OK);
    EXPECT_EQ(info->GetGUID(&guid), S_OK);
    EXPECT_TRUE(guid == (GUID{1, 2, 3, {4}}));

    EXPECT_EQ(Query<IUnknown>(*info, IID_IUnknown), Query<IUnknown>(*create, IID_IUnknown)) << "one identity";
    void* out = info.get();
    EXPECT_EQ(info->QueryInterface(GUID{5, 0, 0, {}}, &out), E_NOINTERFACE);
    EXPECT_EQ(out, nullptr);
}

TEST(CountedText, KnowsItsLength)
{
    const std::unique_ptr<wchar_t, decltype(&SysFreeString)> text(SysAllocStringLen(L"a\0bcd", 4), &SysFreeString);
    ASSERT_TRUE(text);
    EXPECT_EQ(std::wstring(text.get(), SysStringLen(text.get()) + 1), std::wstring(L"a\0bc\0", 5));
    EXPECT_EQ(SysAllocString(nullptr), nullptr);
    EXPECT_EQ(SysStringLen(nullptr), 0U);
}
