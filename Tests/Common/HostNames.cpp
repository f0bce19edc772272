#include "Common/Helpers/HostUtils.h"
#include "Common/Helpers/Url.h"

#include <array>
#include <cstring>
#include <gtest/gtest.h>

namespace
{

using Parts = std::array<std::wstring, 4>;

Parts Parse(const wchar_t* url)
{
    const UrlParts parts = ParseUrl(url);
    return {parts.scheme, parts.host, parts.port, parts.path};
}

SOCKADDR_IN V4(std::array<BYTE, 4> bytes, USHORT port = 0)
{
    SOCKADDR_IN address{};
    address.sin_family = AF_INET;
    address.sin_port = port;
    std::memcpy(&address.sin_addr, bytes.data(), bytes.size());
    return address;
}

SOCKADDR_IN6 V6(BYTE last, USHORT port = 0)
{
    SOCKADDR_IN6 address{};
    address.sin6_family = AF_INET6;
    address.sin6_port = port;
    std::memcpy(reinterpret_cast<BYTE*>(&address.sin6_addr) + 15, &last, 1);
    return address;
}

template <class Address>
const SOCKADDR& Generic(const Address& address)
{
    return reinterpret_cast<const SOCKADDR&>(address);
}

} // namespace

TEST(ParseUrl, SplitsSchemeHostPortAndPath)
{
    EXPECT_EQ(Parse(L"HTTPS://reportsrv:443/ReportServer"), (Parts{L"https", L"reportsrv", L"443", L"/ReportServer"}));
    EXPECT_EQ(Parse(L"http://[::1]:8080/ReportServer"), (Parts{L"http", L"::1", L"8080", L"/ReportServer"}));
    EXPECT_EQ(Parse(L"http://[fe80::1]/x"), (Parts{L"http", L"fe80::1", L"", L"/x"}));
    EXPECT_EQ(Parse(L"fe80::1"), (Parts{L"http", L"fe80::1", L"", L""}));
    EXPECT_EQ(Parse(L"1:2:3:4:5:6:7:8:80"), (Parts{L"http", L"1:2:3:4:5:6:7:8", L"80", L""}));
    EXPECT_EQ(Parse(L"localhost/ReportServer"), (Parts{L"http", L"localhost", L"", L"/ReportServer"}));
    EXPECT_EQ(Parse(L"http://./ReportServer"), (Parts{L"http", L"", L"", L"/ReportServer"}));
    EXPECT_EQ(Parse(L":80/x"), (Parts{L"http", L"", L"80", L"/x"}));
    EXPECT_EQ(Parse(L"::"), (Parts{L"http", L"::", L"", L""}));
    EXPECT_EQ(Parse(L"ftp://host/x"), (Parts{L"http", L"ftp", L"", L"//host/x"}));
    EXPECT_EQ(Parse(L""), (Parts{L"http", L"", L"", L""}));
}

TEST(HostUtils, ComparesAddresses)
{
    using namespace HostUtils;
    EXPECT_TRUE(IsLoopbackAddress(Generic(V4({127, 0, 0, 1}))));
    EXPECT_TRUE(IsLoopbackAddress(Generic(V4({127, 200, 3, 4}))));
    EXPECT_FALSE(IsLoopbackAddress(Generic(V4({128, 0, 0, 1}))));
    EXPECT_TRUE(IsLoopbackAddress(Generic(V6(1))));
    EXPECT_FALSE(IsLoopbackAddress(Generic(V6(2))));
    EXPECT_TRUE(IsUnspecifiedAddress(Generic(V4({0, 0, 0, 0}))));
    EXPECT_TRUE(IsUnspecifiedAddress(Generic(V6(0))));
    EXPECT_FALSE(IsUnspecifiedAddress(Generic(V6(1))));

    const auto a = V4({10, 0, 0, 1}, 80);
    const auto otherPort = V4({10, 0, 0, 1}, 81);
    EXPECT_TRUE(IsSameAddress(Generic(a), Generic(otherPort), true));
    EXPECT_FALSE(IsSameAddress(Generic(a), Generic(otherPort), false));
    EXPECT_FALSE(IsSameAddress(Generic(a), Generic(V4({10, 0, 0, 2}, 80)), true));
    EXPECT_TRUE(IsSameAddress(Generic(V6(5, 1)), Generic(V6(5, 2)), true));
    EXPECT_FALSE(IsSameAddress(Generic(V6(5, 1)), Generic(V6(5, 2)), false));
    EXPECT_FALSE(IsSameAddress(Generic(V4({0, 0, 0, 0})), Generic(V6(0)), true));
}

TEST(HostUtils, KnowsThisComputer)
{
    EXPECT_TRUE(HostUtils::IsLocalHost(L"localhost"));
    EXPECT_TRUE(HostUtils::IsLocalHost(L"127.0.0.2"));
    EXPECT_TRUE(HostUtils::IsLocalHost(L"::1"));
    EXPECT_TRUE(HostUtils::IsLocalHost(L"")) << "the empty name stands for this computer";
    EXPECT_FALSE(HostUtils::IsLocalHost(L"198.51.100.20"));
    EXPECT_FALSE(HostUtils::IsLocalHost(L"no such host name")) << "what does not resolve is not local";
}

TEST(HostUtils, AFilledCacheAnswersForOtherAddresses)
{
    auto entryAddress = V4({10, 9, 8, 7});
    ADDRINFOW withoutAddress{};
    ADDRINFOW entry{};
    entry.ai_addr = reinterpret_cast<SOCKADDR*>(&entryAddress);
    withoutAddress.ai_next = &entry;
    HostUtils::AddressList cache(&withoutAddress, [](ADDRINFOW*) {});
    EXPECT_TRUE(HostUtils::IsLocalAddress(Generic(V4({10, 9, 8, 7}, 99)), cache));
    EXPECT_FALSE(HostUtils::IsLocalAddress(Generic(V4({10, 9, 8, 6})), cache));
    SOCKADDR otherFamily{};
    otherFamily.sa_family = 1;
    EXPECT_FALSE(HostUtils::IsLocalAddress(otherFamily, cache));
}

TEST(HostUtils, ThrowsWhatItIsAskedToThrow)
{
    EXPECT_EQ(HostUtils::GetAddrInfoListForHost(L"no such host name", false), nullptr);
    EXPECT_ANY_THROW(HostUtils::GetAddrInfoListForHost(L"no such host name", true));
    EXPECT_NE(HostUtils::GetAddrInfoListForHost(L"127.0.0.1", true), nullptr);
}
