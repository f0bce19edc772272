#include "Platform/Posix/Win32ErrorCodes.h"
#include "Platform/Posix/Win32ErrorInfo.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cwchar>
#include <memory>
#include <new>
#include <utility>

namespace
{

// What stands in front of a BSTR's characters: their size in bytes.
struct alignas(8) TextHead
{
    std::uint32_t size;
};

TextHead* Head(BSTR text)
{
    return reinterpret_cast<TextHead*>(text) - 1;
}

struct FreeText
{
    void operator()(wchar_t* text) const { SysFreeString(text); }
};

// One text of an error information object.
class TextField
{
public:
    HRESULT Set(const wchar_t* text)
    {
        std::unique_ptr<wchar_t, FreeText> copy(SysAllocString(text));
        if (text && !copy)
            return E_OUTOFMEMORY;
        m_text = std::move(copy);
        return S_OK;
    }

    HRESULT Get(BSTR* text) const
    {
        if (!text)
            return E_INVALIDARG;
        *text = m_text ? SysAllocStringLen(m_text.get(), SysStringLen(m_text.get())) : nullptr;
        return m_text && !*text ? E_OUTOFMEMORY : S_OK;
    }

private:
    std::unique_ptr<wchar_t, FreeText> m_text;
};

// Filled through one interface, then read through the other.
class ErrorInfoObject final : public ICreateErrorInfo, public IErrorInfo
{
public:
    HRESULT QueryInterface(REFIID iid, void** out) override
    {
        if (!out)
            return E_POINTER;
        *out = nullptr;
        if (iid == IID_IUnknown || iid == IID_IErrorInfo)
            *out = static_cast<IErrorInfo*>(this);
        else if (iid == IID_ICreateErrorInfo)
            *out = static_cast<ICreateErrorInfo*>(this);
        else
            return E_NOINTERFACE;
        AddRef();
        return S_OK;
    }

    ULONG AddRef() override { return ++m_references; }

    ULONG Release() override
    {
        const ULONG count = --m_references;
        if (count == 0)
            std::unique_ptr<ErrorInfoObject>{this};
        return count;
    }

    HRESULT GetGUID(GUID* guid) override { return Store(m_guid, guid); }
    HRESULT GetSource(BSTR* source) override { return m_source.Get(source); }
    HRESULT GetDescription(BSTR* description) override { return m_description.Get(description); }
    HRESULT GetHelpFile(BSTR* helpFile) override { return m_helpFile.Get(helpFile); }
    HRESULT GetHelpContext(DWORD* helpContext) override { return Store(m_helpContext, helpContext); }

    HRESULT SetGUID(REFGUID guid) override { return m_guid = guid, S_OK; }
    HRESULT SetSource(LPWSTR source) override { return m_source.Set(source); }
    HRESULT SetDescription(LPWSTR description) override { return m_description.Set(description); }
    HRESULT SetHelpFile(LPWSTR helpFile) override { return m_helpFile.Set(helpFile); }
    HRESULT SetHelpContext(DWORD helpContext) override { return m_helpContext = helpContext, S_OK; }

private:
    template <class Value>
    static HRESULT Store(const Value& value, Value* out)
    {
        if (!out)
            return E_INVALIDARG;
        *out = value;
        return S_OK;
    }

    std::atomic<ULONG> m_references{1};
    GUID m_guid{};
    DWORD m_helpContext = 0;
    TextField m_source;
    TextField m_description;
    TextField m_helpFile;
};

struct ReleaseInterface
{
    void operator()(IUnknown* object) const { object->Release(); }
};

thread_local std::unique_ptr<IErrorInfo, ReleaseInterface> threadErrorInfo;

} // namespace

HRESULT CreateErrorInfo(ICreateErrorInfo** info)
{
    if (!info)
        return E_INVALIDARG;
    *info = new (std::nothrow) ErrorInfoObject;
    return *info ? S_OK : E_OUTOFMEMORY;
}

HRESULT SetErrorInfo(ULONG reserved, IErrorInfo* info)
{
    if (reserved != 0)
        return E_INVALIDARG;
    if (info)
        info->AddRef();
    threadErrorInfo.reset(info);
    return S_OK;
}

HRESULT GetErrorInfo(ULONG reserved, IErrorInfo** info)
{
    if (reserved != 0 || !info)
        return E_INVALIDARG;
    *info = threadErrorInfo.release();
    return *info ? S_OK : S_FALSE;
}

BSTR SysAllocString(const wchar_t* text)
{
    return text ? SysAllocStringLen(text, static_cast<UINT>(std::wcslen(text))) : nullptr;
}

BSTR SysAllocStringLen(const wchar_t* text, UINT length)
{
    const std::size_t size = std::size_t{length} * sizeof(wchar_t);
    if (size > UINT32_MAX)
        return nullptr;
    auto* const head = static_cast<TextHead*>(std::calloc(1, sizeof(TextHead) + size + sizeof(wchar_t)));
    if (!head)
        return nullptr;
    head->size = static_cast<std::uint32_t>(size);
    wchar_t* const characters = reinterpret_cast<wchar_t*>(head + 1);
    if (text)
        std::copy_n(text, length, characters);
    return characters;
}

UINT SysStringLen(BSTR text)
{
    return text ? Head(text)->size / static_cast<UINT>(sizeof(wchar_t)) : 0;
}

void SysFreeString(BSTR text)
{
    if (text)
        std::free(Head(text));
}
