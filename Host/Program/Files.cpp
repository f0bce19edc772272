#include "Host/Program/Files.h"

#include "Host/Support/Failure.h"
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

std::string Complaint(const fs::path& file, const char* what, const std::string& reason)
{
    return Utf8PathText(file) + ": cannot be " + what + ": " + reason;
}

[[noreturn]] void Refuse(const fs::path& file, const std::string& reason)
{
    throw InputError(Complaint(file, "read", reason));
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

void ReplaceFile(const fs::path& file, const std::string& content)
{
    if (fs::exists(file) && !fs::is_regular_file(file))
        throw InputError(Complaint(file, "written", "it is no regular file"));
    fs::path beside = file;
    beside += ".new";
    errno = 0;
    std::ofstream stream(beside, std::ios::binary);
    if (!stream)
        throw InputError(Complaint(file, "written", std::generic_category().message(errno)));
    std::error_code error;
    stream << content << std::flush;
    if (!stream)
        error = std::error_code(errno, std::generic_category());
    stream.close();
    if (!error)
        fs::rename(beside, file, error);
    if (!error)
        return;
    std::error_code ignored;
    fs::remove(beside, ignored);
    throw Failure{E_FAIL, Text::FromUtf8(Complaint(file, "written", error.message()))};
}

} // namespace Host
