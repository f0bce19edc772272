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

// A numeric address; its list owns the structure.
struct Address
{
    Address(const wchar_t* text, USHORT port = 0) : list(GetAddrInfoListForHost(text, true))
    {
        if (list->ai_addr->sa_family == AF_INET)
            reinterpret_cast<SOCKADDR_IN*>(list->ai_addr)->sin_port = port;
        else
            reinterpret_cast<SOCKADDR_IN6*>(list->ai_addr)->sin6_port = port;
    }
    operator const SOCKADDR&() const { return *list->ai_addr; }

    AddressList list;
};

struct AddressPair
{
    Address a;
    Address b;
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
#include "Tests/Common/AddressPairs.inl"
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
    const Address cached(L"10.9.8.7");
    ADDRINFOW withoutAddress{};
    withoutAddress.ai_next = cached.list.get();
    AddressList cache(&withoutAddress, [](ADDRINFOW*) {});
    EXPECT_TRUE(IsLocalAddress(Address(L"10.9.8.7", 99), cache));
    EXPECT_FALSE(IsLocalAddress(Address(L"10.9.8.6"), cache));
    SOCKADDR otherFamily{};
    otherFamily.sa_family = 1;
    EXPECT_FALSE(IsLocalAddress(otherFamily, cache));
}
