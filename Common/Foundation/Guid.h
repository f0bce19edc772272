// Identifiers as keys and as text.
#pragma once

#include "Platform/Types.h"

#include <cstring>
#include <string>

// Byte by byte.
struct GuidLess
{
    bool operator()(const GUID& a, const GUID& b) const { return std::memcmp(&a, &b, sizeof(GUID)) < 0; }
};

// {XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX} in upper case.
std::wstring GuidText(const GUID& guid);
