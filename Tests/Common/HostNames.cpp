#include "Common/Helpers/HostUtils.h"
#include "Common/Helpers/Url.h"
#include "Tests/Support/CodeOf.h"

#include <array>
#include <gtest/gtest.h>

using namespace HostUtils;

TEST(ParseUrl, SplitsSchemeHostPortAndPath)
{
    const std::pair<std::wstring, std::array<std::wstring, 4>> cases[] = {
        {L"HTTPS://reportsrv:443/ReportServer", {L"https", L"reportsrv", L"443", L"/ReportServer"}},
        {L"http://[::1]:8080/ReportServer", {L"http", L"::1", L"8080", L"/ReportServer"}},
        {L"http://[fe80::1]/x", {L"http", L"fe80::1", L"", L"/x"}},
        {L"fe80::1", {L"http", L"fe80::1", L"", L""}},
        {L"1:2:3:4:5:6:7:8:80", {L"http", L"1:2:3:4:5:6:7:8", L"80", L""}},
        {L"localhost/ReportServer", {L"http", L"localhost", L"", L"/ReportServer"}},
        {L"http://./ReportServer", {L"http", L"", L"", L"/ReportServer"}},
        {L"[]", {L"http", L"", L"", L""}},
        {L":80/x", {L"http", L"", L"80", L"/x"}},
        {L"ftp://host/x", {L"http", L"ftp", L"", L"//host/x"}},
        {L"", {L"http", L"", L"", L""}},
    };
    for (const auto& [url, expected] : cases) {
        const UrlParts parts = ParseUrl(url);
        EXPECT_EQ((std::array{parts.scheme, parts.host, parts.port, parts.path}), expected);
    }
}

TEST(HostUtils, KnowsThisComputer)
{
    for (const wchar_t* host : {L"localhost", L"127.200.3.4", L"::1", L"0.0.0.0", L"::", L""})
        EXPECT_TRUE(IsLocalHost(host)) << testing::PrintToString(host);
    for (const wchar_t* host : {L"128.0.0.1", L"::2", L"1::1", L"198.51.100.20", L"no such host name"})
        EXPECT_FALSE(IsLocalHost(host)) << testing::PrintToString(host);
    EXPECT_EQ(GetAddrInfoListForHost(L"no such host name", false), nullptr);
    EXPECT_LT(CodeOf([] { GetAddrInfoListForHost(L"no such host name", true); }), 0);
}

TEST(HostUtils, AFilledCacheAnswersForOtherAddresses)
{
    AddressList cache = GetAddrInfoListForHost(L"10.9.8.7", true);
    const auto isLocal = [&](const wchar_t* text, std::uint16_t port) {
        Platform::NetworkAddress address = GetAddrInfoListForHost(text, true)->front();
        address.port = port;
        return IsLocalAddress(address, cache);
    };
    EXPECT_TRUE(isLocal(L"10.9.8.7", 99));
    EXPECT_FALSE(isLocal(L"10.9.8.6", 0) || isLocal(L"a09:807::", 0)) << "the latter has the same bytes";
}
