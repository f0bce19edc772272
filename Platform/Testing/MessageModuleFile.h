// Message modules for tests: an image with a message table on Windows, the layer's text format elsewhere.
#pragma once

#include "Platform/Win32.h"

#include <filesystem>
#include <string>
#include <vector>

struct MessageText
{
    DWORD id;
    LANGID language; // 0: neutral
    std::wstring text;
};

// Writes a message module that LoadLibraryExW loads with LOAD_LIBRARY_AS_DATAFILE | LOAD_LIBRARY_AS_IMAGE_RESOURCE.
// Throws std::ios_base::failure when the file cannot be written.
void WriteMessageModule(const std::filesystem::path& file, const std::vector<MessageText>& texts);
