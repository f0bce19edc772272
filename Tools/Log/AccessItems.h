// Counts the access items in the text of a node, line by line.
#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

namespace LogTool
{

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
    static void Add(Count& count, std::size_t rows);

    bool m_seen = false;
    bool m_inItem = false;
    bool m_isLocal = false;
    std::optional<std::size_t> m_containers; // of the present item; none: every object
    Count m_local;
    Count m_others;
};

} // namespace LogTool
