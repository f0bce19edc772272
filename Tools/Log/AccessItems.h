// Access items in the text of a node, line by line.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace LogTool
{

struct AccessItem
{
    std::string account;                // empty: every account
    std::optional<std::size_t> objects; // none: every object
    bool isLocal = false;
};

class AccessItemReader
{
public:
    // The item that ends with this line; null for any other line. It lives until the next call.
    const AccessItem* TakeLine(std::string_view line);

private:
    bool m_inItem = false;
    AccessItem m_item;
};

// Counts them.
class AccessItems
{
public:
    struct Count
    {
        std::size_t items = 0;
        std::size_t rows = 0; // of the table: one a container; one for an item of every object
    };

    void TakeLine(std::string_view line);

    // None where no node was printed. Without `keepLocal` items of accounts that exist on one computer only are left
    // out.
    std::optional<Count> Written(bool keepLocal) const;

private:
    AccessItemReader m_reader;
    bool m_seen = false;
    Count m_local;
    Count m_others;
};

// The line without the blanks in front of it.
std::string_view WithoutIndentation(std::string_view line);

// What stands between the tags of an attribute's line, where it is the attribute's.
std::optional<std::string> AttributeText(std::string_view line, std::string_view name);

} // namespace LogTool
