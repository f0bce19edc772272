// What the fuzz targets share. A target is one source that defines Try; the fuzzer finds inputs for it.
#pragma once

#include "Platform/Text.h"

#include <cstddef>
#include <filesystem>
#include <string>
#include <string_view>

// Reads one input. Whatever leaves it ends the program, as do the sanitizers, and makes the input a finding.
void Try(std::string_view input);

// Makes the input a finding when `holds` is false.
void Require(bool holds, const char* what);

// A file with these bytes. Every call replaces the same file.
const std::filesystem::path& FileWith(std::string_view bytes);

// Takes the bytes up to the next line feed off `input`.
std::string_view TakeField(std::string_view& input);

// The same as text without zero characters, which end texts at the module's boundary.
std::wstring TakeText(std::string_view& input);
