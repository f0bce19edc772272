#include "Platform/Testing/MessageModuleFile.h"

#include "Platform/Text.h"

#include <algorithm>
#include <array>
#include <fstream>
#include <map>
#ifdef _WIN32
#include <windows.h>
#endif

namespace
{

#ifdef _WIN32

using Messages = std::map<DWORD, std::wstring>;

constexpr DWORD sectionAddress = 0x1000;
constexpr DWORD fileAlignment = 0x200;

template <class Value>
void Append(const Value& value, std::string& bytes)
{
    bytes.append(reinterpret_cast<const char*>(&value), sizeof(value));
}

DWORD Size(const std::string& bytes)
{
    return static_cast<DWORD>(bytes.size());
}

// One block for each message: numbers and offset; then the entries: size, flags, text with padding to 4 bytes.
std::string MessageTable(const Messages& messages)
{
    const auto count = static_cast<DWORD>(messages.size());
    std::string blocks;
    std::string entries;
    Append(count, blocks);
    for (const auto& [id, text] : messages) {
        Append(MESSAGE_RESOURCE_BLOCK{id, id, DWORD{4} + count * DWORD{12} + Size(entries)}, blocks);
        const std::size_t padded = (text.size() + 2) / 2 * 4;
        Append(static_cast<WORD>(4 + padded), entries);
        Append(WORD{MESSAGE_RESOURCE_UNICODE}, entries);
        Text::AppendUtf16Le(text, entries);
        entries.resize(entries.size() + padded - 2 * text.size());
    }
    return blocks + entries;
}

void AppendDirectoryHead(std::size_t entries, std::string& bytes)
{
    IMAGE_RESOURCE_DIRECTORY head{};
    head.NumberOfIdEntries = static_cast<WORD>(entries);
    Append(head, bytes);
}

// Three levels of directories (type, number, language), the places of the tables, the tables.
std::string ResourceSection(const std::map<LANGID, Messages>& languages)
{
    constexpr DWORD messageTableType = 11;
    constexpr DWORD subdirectory = 0x80000000;
    constexpr DWORD oneEntryDirectory = 24;
    const auto count = static_cast<DWORD>(languages.size());
    std::string bytes;
    AppendDirectoryHead(1, bytes);
    Append(std::array{messageTableType, subdirectory | oneEntryDirectory}, bytes);
    AppendDirectoryHead(1, bytes);
    Append(std::array{DWORD{1}, subdirectory | (2 * oneEntryDirectory)}, bytes);
    AppendDirectoryHead(count, bytes);
    DWORD place = Size(bytes) + 8 * count;
    for (const auto& [language, messages] : languages) {
        Append(std::array{DWORD{language}, place}, bytes);
        place += 16;
    }
    std::string tables;
    for (const auto& [language, messages] : languages) {
        const std::string table = MessageTable(messages);
        Append(std::array{sectionAddress + place + Size(tables), Size(table), DWORD{0}, DWORD{0}}, bytes);
        tables += table;
    }
    return bytes + tables;
}

std::string Image(const std::string& section)
{
    const auto aligned = [](DWORD size, DWORD alignment) { return (size + alignment - 1) / alignment * alignment; };
    IMAGE_DOS_HEADER dos{};
    dos.e_magic = IMAGE_DOS_SIGNATURE;
    dos.e_lfanew = sizeof(dos);
    IMAGE_NT_HEADERS64 headers{};
    headers.Signature = IMAGE_NT_SIGNATURE;
    headers.FileHeader = {IMAGE_FILE_MACHINE_AMD64,
                          1,
                          0,
                          0,
                          0,
                          sizeof(headers.OptionalHeader),
                          IMAGE_FILE_EXECUTABLE_IMAGE | IMAGE_FILE_DLL | IMAGE_FILE_LARGE_ADDRESS_AWARE};
    IMAGE_OPTIONAL_HEADER64& optional = headers.OptionalHeader;
    optional.Magic = IMAGE_NT_OPTIONAL_HDR64_MAGIC;
    optional.ImageBase = 0x180000000;
    optional.SectionAlignment = sectionAddress;
    optional.FileAlignment = fileAlignment;
    optional.MajorOperatingSystemVersion = 6;
    optional.MajorSubsystemVersion = 6;
    optional.Subsystem = IMAGE_SUBSYSTEM_WINDOWS_GUI;
    optional.SizeOfHeaders = fileAlignment;
    optional.SizeOfImage = sectionAddress + aligned(Size(section), sectionAddress);
    optional.NumberOfRvaAndSizes = IMAGE_NUMBEROF_DIRECTORY_ENTRIES;
    optional.DataDirectory[IMAGE_DIRECTORY_ENTRY_RESOURCE] = {sectionAddress, Size(section)};
    IMAGE_SECTION_HEADER resources{};
    std::copy_n(".rsrc", 5, resources.Name);
    resources.Misc.VirtualSize = Size(section);
    resources.VirtualAddress = sectionAddress;
    resources.SizeOfRawData = aligned(Size(section), fileAlignment);
    resources.PointerToRawData = fileAlignment;
    resources.Characteristics = IMAGE_SCN_CNT_INITIALIZED_DATA | IMAGE_SCN_MEM_READ;
    std::string bytes;
    Append(dos, bytes);
    Append(headers, bytes);
    Append(resources, bytes);
    bytes.resize(fileAlignment);
    bytes += section;
    bytes.resize(fileAlignment + resources.SizeOfRawData);
    return bytes;
}

std::string ModuleBytes(const std::vector<MessageText>& texts)
{
    std::map<LANGID, Messages> languages;
    for (const MessageText& text : texts)
        languages[text.language][text.id] = text.text;
    return Image(ResourceSection(languages));
}

#else

std::string ModuleBytes(const std::vector<MessageText>& texts)
{
    std::string bytes;
    for (const MessageText& message : texts) {
        char head[32];
        std::snprintf(head, sizeof(head), "0x%08X [0x%04X] ", unsigned{message.id}, unsigned{message.language});
        bytes += head;
        for (const char c : Text::ToUtf8(message.text)) {
            const char* const escaped = c == '\r' ? "\\r" : c == '\n' ? "\\n" : c == '\t' ? "\\t" : "\\\\";
            if (c == '\r' || c == '\n' || c == '\t' || c == '\\')
                bytes += escaped;
            else
                bytes += c;
        }
        bytes += '\n';
    }
    return bytes;
}

#endif

} // namespace

void WriteMessageModule(const std::filesystem::path& file, const std::vector<MessageText>& texts)
{
    std::ofstream stream;
    stream.exceptions(std::ios::failbit | std::ios::badbit);
    stream.open(file, std::ios::binary);
    stream << ModuleBytes(texts);
    stream.close();
}
