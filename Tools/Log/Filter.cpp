#include "Tools/Log/Filter.h"

#include <chrono>
#include <regex>

namespace LogTool
{

bool Filter::Passes(const Line& line) const
{
    if (line.kind == LineKind::Banner)
        return !severity && since.empty() && !thread;
    return (!severity || line.severity <= *severity) && line.time >= since && (!thread || line.thread == *thread);
}

bool Filter::Passes(const Cycle& cycle) const
{
    return (!severity || cycle.gravest <= *severity) && cycle.start >= since && (!thread || cycle.thread == *thread);
}

std::string ReadSince(std::string& text)
{
    static const std::regex form(R"((\d{4})-(\d\d)-(\d\d)([ T]([01]\d|2[0-3]):[0-5]\d(:[0-5]\d(\.\d{1,7})?)?)?)");
    std::smatch parts;
    const auto number = [&parts](std::size_t i) { return static_cast<unsigned>(std::stoul(parts[i])); };
    if (!std::regex_match(text, parts, form) ||
        !std::chrono::year_month_day(std::chrono::year(static_cast<int>(number(1))), std::chrono::month(number(2)),
                                     std::chrono::day(number(3)))
             .ok())
        return "'" + text + "' is no time such as 2026-11-22, \"2026-11-22 14:00\" or 2026-11-22T14:00:30";
    if (text.size() > 10)
        text[10] = ' ';
    return {};
}

} // namespace LogTool
