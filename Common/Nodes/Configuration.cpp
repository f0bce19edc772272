#include "Common/Nodes/Configuration.h"

#include "Common/Diagnostics/Log.h"

#include <limits>

namespace
{

template <class Read>
auto ReadKey(const wchar_t* key, Read read)
{
    return NameFailure(L"Configuration key", key, read);
}

} // namespace

namespace Configuration
{

std::wstring RequiredString(const KelNodePtr& config, const wchar_t* key)
{
    return ReadKey(key, [&] { return config.GetString(key); });
}

std::wstring OptionalString(const KelNodePtr& config, const wchar_t* key)
{
    return ReadKey(key, [&] { return config.GetStringOr(key, {}); });
}

std::vector<std::wstring> OptionalStrings(const KelNodePtr& config, const wchar_t* key)
{
    std::vector<std::wstring> texts;
    ReadKey(key, [&] { return config.GetStringList(key, texts); });
    return texts;
}

KelNodePtr RequiredChild(const KelNodePtr& config, const wchar_t* name)
{
    return ReadKey(name, [&] { return config.GetChildByName(name, true); });
}

std::chrono::seconds ReadSeconds(const KelNodePtr& config, const wchar_t* key, std::chrono::seconds defaultValue)
{
    constexpr std::int64_t longest = std::numeric_limits<std::uint32_t>::max();
    std::int64_t seconds = defaultValue.count();
    ReadKey(key, [&] { return config.TryGetInt64(key, seconds); });
    if (seconds < 0 || seconds > longest) {
        LOG_ERR(L"Configuration key '" << key << L"' cannot be used: " << seconds << L" is out of range, expected 0 to "
                                       << longest << L" seconds");
        ThrowHResult(E_INVALIDARG);
    }
    return std::chrono::seconds(seconds);
}

bool ReadBool(const KelNodePtr& config, const wchar_t* key, bool defaultValue)
{
    ReadKey(key, [&] { return config.TryGetBool(key, defaultValue); });
    return defaultValue;
}

} // namespace Configuration
