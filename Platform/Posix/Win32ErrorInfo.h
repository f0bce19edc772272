// Error information of the thread. Unlike the interfaces of the host contract these have the order of slots of
// IUnknown: QueryInterface, AddRef, Release.
#pragma once

#include "Platform/Posix/Win32Types.h"

using BSTR = wchar_t*;

struct IUnknown
{
    virtual HRESULT QueryInterface(REFIID iid, void** out) = 0;
    virtual ULONG AddRef() = 0;
    virtual ULONG Release() = 0;
};

struct IErrorInfo : IUnknown
{
    virtual HRESULT GetGUID(GUID* guid) = 0;
    virtual HRESULT GetSource(BSTR* source) = 0;
    virtual HRESULT GetDescription(BSTR* description) = 0;
    virtual HRESULT GetHelpFile(BSTR* helpFile) = 0;
    virtual HRESULT GetHelpContext(DWORD* helpContext) = 0;
};

struct ICreateErrorInfo : IUnknown
{
    virtual HRESULT SetGUID(REFGUID guid) = 0;
    virtual HRESULT SetSource(LPWSTR source) = 0;
    virtual HRESULT SetDescription(LPWSTR description) = 0;
    virtual HRESULT SetHelpFile(LPWSTR helpFile) = 0;
    virtual HRESULT SetHelpContext(DWORD helpContext) = 0;
};

inline constexpr GUID IID_IUnknown{0x00000000, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr GUID IID_IErrorInfo{0x1CF2B120, 0x547D, 0x101B, {0x8E, 0x65, 0x08, 0x00, 0x2B, 0x2B, 0xD1, 0x19}};
inline constexpr GUID IID_ICreateErrorInfo{
    0x22F03340, 0x547D, 0x101B, {0x8E, 0x65, 0x08, 0x00, 0x2B, 0x2B, 0xD1, 0x19}};

extern "C"
{
    HRESULT CreateErrorInfo(ICreateErrorInfo** info);
    HRESULT SetErrorInfo(ULONG reserved, IErrorInfo* info);  // null clears
    HRESULT GetErrorInfo(ULONG reserved, IErrorInfo** info); // takes and clears; S_FALSE when there is none
    BSTR SysAllocString(const wchar_t* text);
    BSTR SysAllocStringLen(const wchar_t* text, UINT length);
    UINT SysStringLen(BSTR text);
    void SysFreeString(BSTR text);
}
