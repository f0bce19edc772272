#include "Platform/Win32.h"

#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

namespace
{

// The bytes of the addresses that a name resolves to.
std::vector<std::string> Addresses(const wchar_t* name)
{
    ADDRINFOW* list = nullptr;
    const int error = GetAddrInfoW(name, nullptr, nullptr, &list);
    const std::unique_ptr<ADDRINFOW, decltype(&FreeAddrInfoW)> owner(list, &FreeAddrInfoW);
    EXPECT_TRUE(error == 0 ? list != nullptr : WSAGetLastError() == error);
    std::vector<std::string> addresses;
    for (; list; list = list->ai_next) {
        const bool inet = list->ai_family == AF_INET;
        EXPECT_TRUE(inet || list->ai_family == AF_INET6);
        EXPECT_EQ(list->ai_addrlen, inet ? 16U : 28U);
        const auto* const address = reinterpret_cast<const char*>(list->ai_addr);
        addresses.emplace_back(address + (inet ? 4 : 8), inet ? 4 : 16);
    }
    return addresses;
}

} // namespace

TEST(Sockets, NamesResolveToAddressesBetweenStartupAndCleanup)
{
    WSADATA data;
    EXPECT_NE(WSACleanup(), 0);
    EXPECT_EQ(WSAGetLastError(), WSANOTINITIALISED);
    for (int i = 0; i < 2; ++i)
        EXPECT_EQ(WSAStartup(MAKEWORD(2, 2), &data), 0);
    EXPECT_EQ(WSACleanup(), 0) << "of the first only";
    EXPECT_EQ(Addresses(L"10.20.30.40").at(0), "\x0A\x14\x1E\x28");
    EXPECT_EQ(Addresses(L"1:2::fffe").at(0), std::string("\0\1\0\2\0\0\0\0\0\0\0\0\0\0\xFF\xFE", 16));
    DWORD size = 64;
    wchar_t computer[64];
    ASSERT_TRUE(GetComputerNameExW(ComputerNameNetBIOS, computer, &size));
    EXPECT_FALSE(Addresses(L"").empty());
    EXPECT_EQ(Addresses(computer), Addresses(L""));
    EXPECT_TRUE(Addresses(L"no-such-host.invalid").empty());
    EXPECT_EQ(WSACleanup(), 0);
    EXPECT_NE(WSACleanup(), 0);
}
