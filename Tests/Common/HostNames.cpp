#include "Common/Helpers/HostUtils.h"
#include "Common/Helpers/Url.h"
#include "Tests/Support/CodeOf.h"

#include <array>
#include <gtest/gtest.h>

using namespace HostUtils;

namespace
{

// URL; scheme, host, port, path.
using UrlCase = std::pair<std::wstring, std::array<std::wstring, 4>>;

// A numeric address.
Platform::NetworkAddress Address(const wchar_t* text, std::uint16_t port = 0)
{
    Platform::NetworkAddress address = GetAddrInfoListForHost(text, true)->front();
    address.port = port;
    return address;
}

struct AddressPair
{
    Platform::NetworkAddress a;
    Platform::NetworkAddress b;
    bool same;
    bool sameButForThePort;
};

} // namespace

TEST(ParseUrl, SplitsSchemeHostPortAndPath)
{
    const UrlCase cases[] = {
#include "Tests/Common/Urls.inl"
    };
    for (const auto& [url, expected] : cases) {
        const UrlParts parts = ParseUrl(url);
        EXPECT_EQ((std::array{parts.scheme, parts.host, parts.port, parts.path}), expected);
    }
}

TEST(HostUtils, ComparesAddresses)
{
    for (const wchar_t* text : {L"127.0.0.1", L"127.200.3.4", L"::1"})
        EXPECT_TRUE(IsLoopbackAddress(Address(text)) && !IsUnspecifiedAddress(Address(text)));
    for (const wchar_t* text : {L"0.0.0.0", L"::"})
        EXPECT_TRUE(IsUnspecifiedAddress(Address(text)) && !IsLoopbackAddress(Address(text)));
    for (const wchar_t* text : {L"128.0.0.1", L"::2", L"1::1"})
        EXPECT_FALSE(IsUnspecifiedAddress(Address(text)) || IsLoopbackAddress(Address(text)));
    const AddressPair pairs[] = {
        {Address(L"10.0.0.1", 80), Address(L"10.0.0.1", 80), true, true},
        {Address(L"10.0.0.1", 80), Address(L"10.0.0.1", 81), false, true},
        {Address(L"10.0.0.1", 80), Address(L"10.0.0.2", 80), false, false},
        {Address(L"::5", 1), Address(L"::5", 1), true, true},
        {Address(L"::5", 1), Address(L"::5", 2), false, true},
        {Address(L"::5", 1), Address(L"1::5", 1), false, false},
        {Address(L"0.0.0.0", 0), Address(L"::", 0), false, false},
    };
    for (const AddressPair& each : pairs) {
        EXPECT_EQ(IsSameAddress(each.a, each.b, false), each.same);
        EXPECT_EQ(IsSameAddress(each.a, each.b, true), each.sameButForThePort);
    }
}

TEST(HostUtils, KnowsThisComputer)
{
    for (const wchar_t* host : {L"localhost", L"127.0.0.2", L"::1", L""})
        EXPECT_TRUE(IsLocalHost(host)) << testing::PrintToString(host);
    for (const wchar_t* host : {L"198.51.100.20", L"no such host name"})
        EXPECT_FALSE(IsLocalHost(host)) << testing::PrintToString(host);
    EXPECT_EQ(GetAddrInfoListForHost(L"no such host name", false), nullptr);
    EXPECT_LT(CodeOf([] { GetAddrInfoListForHost(L"no such host name", true); }), 0);
}

TEST(HostUtils, AFilledCacheAnswersForOtherAddresses)
{
    AddressList cache = GetAddrInfoListForHost(L"10.9.8.7", true);
    EXPECT_TRUE(IsLocalAddress(Address(L"10.9.8.7", 99), cache));
    EXPECT_FALSE(IsLocalAddress(Address(L"10.9.8.6"), cache));
}
