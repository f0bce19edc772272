#include "Tools/Log/LogFile.h"

#include <cerrno>
#include <system_error>

namespace LogTool
{

namespace
{

constexpr std::size_t BlockSize = 1 << 20;
constexpr std::size_t HeadSize = 4096;

std::string SystemText(int error)
{
    return std::generic_category().message(error);
}

std::string ReadSome(std::ifstream& stream, std::size_t size)
{
    std::string bytes(size, '\0');
    stream.read(bytes.data(), static_cast<std::streamsize>(size));
    bytes.resize(static_cast<std::size_t>(stream.gcount()));
    return bytes;
}

} // namespace

LogFile::LogFile(const std::filesystem::path& file) : m_name(file.string())
{
    std::error_code ignored;
    if (std::filesystem::is_directory(file, ignored))
        throw InputError(m_name + ": is a folder, a log file was expected");
    m_stream.open(file, std::ios::binary);
    if (!m_stream)
        throw InputError(m_name + ": " + SystemText(errno));
    ReadBlock();
    if (m_block.empty())
        throw InputError(m_name + ": is empty");
    if (m_block.starts_with("\xFF\xFE"))
        m_block.erase(0, 2); // an editor's byte-order mark
    LineReader probe([](const Line&) {});
    probe.Add(m_block);
    probe.Finish();
    if (!probe.IsLog())
        throw InputError(m_name + ": is no log of the module: UTF-16LE text with lines "
                                  "'date time | severity | process thread | file:line | message' was expected");
}

void LogFile::ReadBlock()
{
    m_block = ReadSome(m_stream, BlockSize);
    if (m_stream.bad())
        throw InputError(m_name + ": " + SystemText(errno));
}

void LogFile::Read(const TakeLine& take)
{
    LineReader reader(take);
    for (; !m_block.empty(); ReadBlock())
        reader.Add(m_block);
    reader.Finish();
}

FollowedLog::FollowedLog(const std::filesystem::path& file) : m_file(file)
{
    const LogFile check(file);
    std::ifstream stream(file, std::ios::binary);
    m_head = ReadSome(stream, HeadSize);
    stream.clear();
    m_position =
        m_head.size() < HeadSize ? m_head.size() : static_cast<std::uint64_t>(stream.seekg(0, std::ios::end).tellg());
}

bool FollowedLog::BeginsAsBefore(std::ifstream& stream) const
{
    stream.seekg(0, std::ios::end);
    const auto size = static_cast<std::uint64_t>(stream.tellg());
    stream.seekg(0);
    return size >= m_position && ReadSome(stream, m_head.size()) == m_head;
}

void FollowedLog::ReadNew(LineReader& reader)
{
    std::ifstream stream(m_file, std::ios::binary);
    if (!stream)
        return;
    if (!BeginsAsBefore(stream)) {
        reader.Finish();
        m_head.clear();
        m_position = 0;
    }
    stream.clear();
    stream.seekg(static_cast<std::streamoff>(m_position));
    for (std::string bytes; !(bytes = ReadSome(stream, BlockSize)).empty();) {
        reader.Add(bytes);
        m_position += bytes.size();
        m_head += bytes.substr(0, HeadSize - m_head.size());
    }
}

} // namespace LogTool
