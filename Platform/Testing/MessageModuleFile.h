// Message modules for tests: an image with a message table on Windows, the layer's text format elsewhere.
#pragma once

#include "Platform/Types.h"

#include <filesystem>
#include <string>
#include <vector>

struct MessageText
{
    std::uint32_t id;
    std::uint16_t language; // 0: neutral
    std::wstring text;
};

// Writes a message module that Platform::MessageModule loads.
// Throws std::ios_base::failure when the file cannot be written.
void WriteMessageModule(const std::filesystem::path& file, const std::vector<MessageText>& texts);
