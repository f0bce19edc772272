// What the tests of the node library share, beside the host's own way with nodes.
#pragma once

#include "Host/Components/NodeHandle.h"
#include "Host/Nodwell/TestControls.h"
#include "Host/Support/Failure.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>

using Host::NodeHandle;
using Host::TakeErrorText;

inline constexpr HRESULT NotFound = HResultFromWin32(ERROR_NOT_FOUND);
inline constexpr HRESULT TooSmall = HResultFromWin32(ERROR_INSUFFICIENT_BUFFER);

// Containers.
inline constexpr wchar_t Ward[] = L"0C8E2B1A-5D3F-4E7A-9B61-2F4D8C7A1E05";
inline constexpr wchar_t Clinic[] = L"7D11F6E2-94A0-4B0C-8E57-6A3C2B9D4F10";

// Checks that a test leaves nothing behind.
class NodwellTest : public testing::Test
{
protected:
    ~NodwellTest() override
    {
        EXPECT_EQ(NodwellLiveNodes(), 0U);
        EXPECT_EQ(NodwellOpenHandles(), 0U);
    }
};

inline NodeHandle Create(const wchar_t* name, const wchar_t* type = nullptr)
{
    return NodeHandle::Create(name, type);
}

inline NodeHandle AddNew(const NodeHandle& parent, const std::wstring& name)
{
    NodeHandle child = Create(name.c_str());
    parent.AddChild(child);
    return child;
}

inline std::string ReadAll(const std::filesystem::path& file)
{
    std::ifstream stream(file); // line ends as C++ sees them
    return {std::istreambuf_iterator(stream), {}};
}
