// The files that a person names.
#pragma once

#include <filesystem>
#include <stdexcept>
#include <string>

namespace Host
{

// Input that cannot be used; the text (UTF-8) is for the person whose it is.
struct InputError : std::runtime_error
{
    using std::runtime_error::runtime_error;
};

// The content of a file. Throws InputError with the reason why it cannot be read: an empty file has no use either.
std::string ReadInputFile(const std::filesystem::path& file);

// Throws the same for a file that somebody else is to read.
void CheckReadable(const std::filesystem::path& file);

// Writes a file anew; who reads it meanwhile sees the old one or the new one. Throws InputError when that cannot begin,
// and Failure when it cannot be completed.
void ReplaceFile(const std::filesystem::path& file, const std::string& content);

} // namespace Host
