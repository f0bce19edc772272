#include "Tools/Log/AccessItems.h"

#include <algorithm>

namespace LogTool
{

void AccessItems::Add(Count& count, std::size_t rows)
{
    ++count.items;
    count.rows += rows;
}

void AccessItems::TakeLine(std::string_view line)
{
    line.remove_prefix(std::min(line.find_first_not_of(' '), line.size()));
    if (line.starts_with("<node type=\"AccessRightsItem\"")) {
        m_inItem = true;
        m_isLocal = false;
        m_containers.reset();
    } else if (line.starts_with("<attribute name=\"ContainerId\"")) {
        m_containers = 0;
    } else if (line.starts_with("<item>") && m_containers) {
        *m_containers += line.starts_with("<item></item>") ? 0 : 1;
    } else if (line.starts_with("<attribute name=\"IsLocalOnly\"")) {
        m_isLocal = line.find(">true<") != line.npos;
    } else if (line.starts_with("</node>") && m_inItem) {
        Add(m_isLocal ? m_local : m_others, m_containers.value_or(1));
        m_inItem = false;
    }
    m_seen = m_seen || line.starts_with("<node");
}

std::optional<AccessItems::Count> AccessItems::Written(bool keepLocal) const
{
    if (!m_seen)
        return std::nullopt;
    return keepLocal ? Count{m_local.items + m_others.items, m_local.rows + m_others.rows} : m_others;
}

} // namespace LogTool
