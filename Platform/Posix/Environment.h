// Environment variables for the layer's own use. Internal to the layer.
#pragma once

#include <optional>
#include <string>
#include <string_view>

// The variable's value, found as GetEnvironmentVariableW finds it; no value when it is not defined. Any thread.
std::optional<std::wstring> EnvironmentValue(std::wstring_view name);
