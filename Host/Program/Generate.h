// Sites of any size, to see how the module does with many accounts.
#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>

namespace Host
{

struct SiteSize
{
    std::uint32_t accounts = 1000;
    std::uint32_t containers = 3; // of each account
    std::uint32_t seed = 1;
};

// A site whose accounts are named in its configuration, with a timeline that lists them all, takes some away and lets
// some ask for reports. Equal sizes give equal sites.
nlohmann::ordered_json GenerateSite(const SiteSize& size);

} // namespace Host
