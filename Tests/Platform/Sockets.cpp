#include "Platform/Win32.h"

#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

namespace
{

class Sockets : public testing::Test
{
protected:
    Sockets()
    {
        WSADATA data;
        EXPECT_EQ(WSAStartup(MAKEWORD(2, 2), &data), 0);
        EXPECT_EQ(data.wVersion, MAKEWORD(2, 2));
    }
    ~Sockets() override { EXPECT_EQ(WSACleanup(), 0); }

    // The bytes of the addresses that a name resolves to.
    static std::vector<std::string> Addresses(const wchar_t* name)
    {
        ADDRINFOW* list = nullptr;
        const int error = GetAddrInfoW(name, nullptr, nullptr, &list);
        const std::unique_ptr<ADDRINFOW, decltype(&FreeAddrInfoW)> owner(list, &FreeAddrInfoW);
        EXPECT_EQ(error == 0, list != nullptr);
        EXPECT_TRUE(error == 0 || WSAGetLastError() == error);
        std::vector<std::string> addresses;
        for (; list; list = list->ai_next) {
            const bool inet = list->ai_family == AF_INET;
            EXPECT_TRUE(inet || list->ai_family == AF_INET6);
            EXPECT_EQ(list->ai_addr->sa_family, list->ai_family);
            EXPECT_EQ(list->ai_addrlen, inet ? sizeof(SOCKADDR_IN) : sizeof(SOCKADDR_IN6));
            const auto* const address = reinterpret_cast<const char*>(list->ai_addr);
            EXPECT_EQ(address[2] | address[3], 0) << "the port";
            addresses.emplace_back(address + (inet ? 4 : 8), inet ? 4 : 16);
        }
        return addresses;
    }
};

} // namespace

TEST_F(Sockets, LiteralAddressesKeepTheirBytes)
{
    static_assert(sizeof(SOCKADDR_IN) == 16 && sizeof(SOCKADDR_IN6) == 28);
    const std::string inet6("\0\1\0\2\0\0\0\0\0\0\0\0\0\0\xFF\xFE", 16);
    EXPECT_EQ(Addresses(L"10.20.30.40").at(0), "\x0A\x14\x1E\x28");
    EXPECT_EQ(Addresses(L"1:2::fffe").at(0), inet6);
}

TEST_F(Sockets, EmptyNameAndComputerNameAreThisComputer)
{
    DWORD size = 64;
    wchar_t name[64];
    ASSERT_TRUE(GetComputerNameExW(ComputerNameNetBIOS, name, &size));
    EXPECT_FALSE(Addresses(L"").empty());
    EXPECT_EQ(Addresses(name), Addresses(L""));
}

TEST_F(Sockets, UnknownHostIsAnError)
{
    EXPECT_TRUE(Addresses(L"no-such-host.invalid").empty());
    EXPECT_TRUE(Addresses(nullptr).empty());
    EXPECT_EQ(WSAGetLastError(), WSAHOST_NOT_FOUND);
    FreeAddrInfoW(nullptr);
}

TEST(SocketStartup, CleanupIsCounted)
{
    WSADATA data;
    EXPECT_NE(WSACleanup(), 0);
    EXPECT_EQ(WSAGetLastError(), WSANOTINITIALISED);
    EXPECT_EQ(WSAStartup(MAKEWORD(2, 2), &data), 0);
    EXPECT_EQ(WSAStartup(MAKEWORD(2, 2), &data), 0);
    EXPECT_EQ(WSACleanup(), 0);
    EXPECT_EQ(WSACleanup(), 0);
    EXPECT_NE(WSACleanup(), 0);
}
