#include "Tools/Log/AccessItems.h"

#include <algorithm>

namespace LogTool
{

std::string_view WithoutIndentation(std::string_view line)
{
    return line.substr(std::min(line.find_first_not_of(' '), line.size()));
}

std::optional<std::string> AttributeText(std::string_view line, std::string_view name)
{
    line = WithoutIndentation(line);
    if (!line.starts_with("<attribute name=\"" + std::string(name) + '"'))
        return std::nullopt;
    std::string text(line.substr(line.find('>') + 1));
    text.resize(std::min(text.rfind("</attribute>"), text.size()));
    static constexpr std::pair<std::string_view, char> escapes[] = {
        {"&lt;", '<'}, {"&gt;", '>'}, {"&quot;", '"'}, {"&apos;", '\''}, {"&amp;", '&'}};
    for (const auto& [escape, character] : escapes) {
        for (std::size_t at = 0; (at = text.find(escape, at)) != text.npos; ++at)
            text.replace(at, escape.size(), 1, character);
    }
    return text;
}

const AccessItem* AccessItemReader::TakeLine(std::string_view line)
{
    line = WithoutIndentation(line);
    if (line.starts_with("<node type=\"AccessRightsItem\"")) {
        m_inItem = true;
        m_item = {};
    } else if (auto account = AttributeText(line, "LogonName")) {
        m_item.account = std::move(*account);
    } else if (line.starts_with("<attribute name=\"ContainerId\"")) {
        m_item.objects = 0;
    } else if (line.starts_with("<item>") && m_item.objects) {
        *m_item.objects += line.starts_with("<item></item>") ? 0 : 1;
    } else if (line.starts_with("<attribute name=\"IsLocalOnly\"")) {
        m_item.isLocal = line.find(">true<") != line.npos;
    } else if (line.starts_with("</node>") && m_inItem) {
        m_inItem = false;
        return &m_item;
    }
    return nullptr;
}

void AccessItems::TakeLine(std::string_view line)
{
    if (const AccessItem* const item = m_reader.TakeLine(line)) {
        Count& count = item->isLocal ? m_local : m_others;
        ++count.items;
        count.rows += item->objects.value_or(1);
    }
    m_seen = m_seen || WithoutIndentation(line).starts_with("<node");
}

std::optional<AccessItems::Count> AccessItems::Written(bool keepLocal) const
{
    if (!m_seen)
        return std::nullopt;
    return keepLocal ? Count{m_local.items + m_others.items, m_local.rows + m_others.rows} : m_others;
}

} // namespace LogTool
