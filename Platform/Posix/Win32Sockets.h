// Name resolution. Addresses have the SDK's layout and family numbers, which are not those of this platform.
// Do not include the system's socket headers beside this one.
#pragma once

#include "Platform/Posix/Win32Types.h"

#undef AF_INET
#undef AF_INET6
#define AF_INET 2
#define AF_INET6 23

struct SOCKADDR
{
    USHORT sa_family;
    char sa_data[14];
};

struct IN_ADDR
{
    BYTE bytes[4];
};

struct SOCKADDR_IN
{
    USHORT sin_family;
    USHORT sin_port;
    IN_ADDR sin_addr;
    char sin_zero[8];
};

struct IN6_ADDR
{
    BYTE bytes[16];
};

struct SOCKADDR_IN6
{
    USHORT sin6_family;
    USHORT sin6_port;
    ULONG sin6_flowinfo;
    IN6_ADDR sin6_addr;
    ULONG sin6_scope_id;
};

struct ADDRINFOW
{
    int ai_flags;
    int ai_family;
    int ai_socktype;
    int ai_protocol;
    std::size_t ai_addrlen;
    wchar_t* ai_canonname;
    SOCKADDR* ai_addr;
    ADDRINFOW* ai_next;
};

struct WSADATA
{
    WORD wVersion;
    WORD wHighVersion;
};

constexpr WORD MAKEWORD(BYTE low, BYTE high)
{
    return static_cast<WORD>(low | (high << 8));
}

extern "C"
{
    // Counted, as on Windows: GetAddrInfoW between the pair only, otherwise WSANOTINITIALISED. Version 2.2 only.
    int WSAStartup(WORD version, WSADATA* data);
    int WSACleanup();
    int WSAGetLastError();
    // No service and no hints. The empty name and the computer's own name answer with the addresses of its interfaces,
    // whatever the name resolution has for it.
    int GetAddrInfoW(LPCWSTR node, LPCWSTR service, const ADDRINFOW* hints, ADDRINFOW** result);
    void FreeAddrInfoW(ADDRINFOW* list);
}
