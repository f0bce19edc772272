// What the tests of the node library share.
#pragma once

#include "Host/Nodwell/TestControls.h"
#include "Host/Support/NodeHandle.h"
#include "Interfaces/ComponentPtr.h"
#include "Platform/Text.h"

#include <gtest/gtest.h>
#include <string>

inline constexpr HRESULT NotFound = HResultFromWin32(ERROR_NOT_FOUND);
inline constexpr HRESULT TooSmall = HResultFromWin32(ERROR_INSUFFICIENT_BUFFER);

// Checks that a test leaves nothing behind.
class NodwellTest : public testing::Test
{
protected:
    ~NodwellTest() override
    {
        NodwellFailCall(0, S_OK, 0);
        EXPECT_EQ(NodwellLiveNodes(), 0U);
        EXPECT_EQ(NodwellOpenHandles(), 0U);
    }
};

inline NodeHandle Create(const wchar_t* name, const wchar_t* type = nullptr)
{
    NodeHandle node;
    EXPECT_EQ(KelnCreateNode(name, type, node.Out()), S_OK);
    return node;
}

inline NodeHandle AddNew(const NodeHandle& parent, const wchar_t* name)
{
    NodeHandle child = Create(name);
    EXPECT_EQ(KelnAddChild(parent.Get(), child.Get()), S_OK);
    return child;
}

inline NodeHandle Clone(const NodeHandle& node, uint64_t depth = KelnWholeTree)
{
    NodeHandle clone;
    EXPECT_EQ(KelnCloneNode(node.Get(), depth, 0, clone.Out()), S_OK);
    return clone;
}

inline NodeHandle ChildAt(const NodeHandle& parent, uint64_t index)
{
    NodeHandle child;
    EXPECT_EQ(KelnGetChildByIndex(parent.Get(), index, child.Out()), S_OK);
    return child;
}

inline NodeHandle ParentOf(const NodeHandle& node)
{
    NodeHandle parent;
    EXPECT_EQ(KelnGetParent(node.Get(), parent.Out()), S_OK);
    return parent;
}

inline uint64_t CountOf(const NodeHandle& parent)
{
    uint64_t count = 0;
    EXPECT_EQ(KelnGetChildCount(parent.Get(), &count), S_OK);
    return count;
}

inline std::wstring NameOf(const NodeHandle& node, uint32_t kind = KelnNameOnly)
{
    uint32_t size = 128;
    std::wstring name(size, L'?');
    while (KelnGetNodeName(node.Get(), kind, name.data(), &size) == TooSmall)
        name.resize(size);
    return name.substr(0, size - 1);
}

inline std::string Utf16(std::wstring_view text)
{
    std::string bytes;
    Text::AppendUtf16Le(text, bytes);
    return bytes.append(2, '\0');
}

inline HRESULT Set(const NodeHandle& node, const wchar_t* name, uint16_t type, std::string_view bytes)
{
    return KelnSetAttribute(node.Get(), name, type, bytes.data(), static_cast<uint32_t>(bytes.size()));
}

// Replaces `bytes` by the value, read as `*type` (null: as stored).
inline HRESULT Get(const NodeHandle& node, const wchar_t* name, std::string& bytes, const uint16_t* type = nullptr)
{
    uint32_t size = 0;
    if (const HRESULT result = KelnGetAttribute(node.Get(), name, type, nullptr, &size, nullptr); FAILED(result))
        return result;
    bytes.assign(size, '?');
    return KelnGetAttribute(node.Get(), name, type, bytes.data(), &size, nullptr);
}

// The description that the last failure has left on this thread; takes it.
inline std::wstring TakeErrorText()
{
    ComponentPtr<IErrorInfo> info;
    BSTR description = nullptr;
    if (GetErrorInfo(0, info.Out()) != S_OK || FAILED(info->GetDescription(&description)))
        return {};
    const std::wstring text = description;
    SysFreeString(description);
    return text;
}
