// The lines that head a log file.
#pragma once

#include <array>
#include <string>

// Names the module, its version and description, and the process it runs in.
std::wstring BuildBanner(const std::array<int, 4>& version);
