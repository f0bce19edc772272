#include "Host/Program/Input.h"

#include "Host/Support/PathText.h"
#include "Platform/Text.h"

#include <cerrno>
#include <fstream>
#include <sstream>
#include <system_error>

namespace Host
{

namespace
{

namespace fs = std::filesystem;

[[noreturn]] void Refuse(const fs::path& file, const std::string& reason)
{
    throw InputError(Text::ToUtf8(PathText(file)) + ": cannot be read: " + reason);
}

std::ifstream Open(const fs::path& file)
{
    std::error_code error;
    const fs::file_status status = fs::status(file, error);
    if (status.type() == fs::file_type::not_found)
        Refuse(file, "there is no such file");
    if (error)
        Refuse(file, error.message());
    if (fs::is_directory(status))
        Refuse(file, "it is a folder");
    errno = 0;
    std::ifstream stream(file, std::ios::binary);
    if (!stream)
        Refuse(file, std::generic_category().message(errno));
    if (stream.peek() == std::ifstream::traits_type::eof())
        Refuse(file, "it is empty");
    return stream;
}

} // namespace

std::string ReadInputFile(const fs::path& file)
{
    std::ifstream stream = Open(file);
    std::ostringstream text;
    text << stream.rdbuf();
    return std::move(text).str();
}

void CheckReadable(const fs::path& file)
{
    Open(file);
}

} // namespace Host
