#include "Tools/Log/Changes.h"

#include "Platform/LetterCase.h"
#include "Platform/Text.h"
#include "Tools/Log/TextOutput.h"

#include <regex>

namespace LogTool
{

namespace
{

constexpr std::string_view ChangedPrefix = "Access rights changed: ";
constexpr std::string_view WrittenPrefix = "Access rights written: ";
constexpr std::string_view NoChangeLines = "The log has no lines about changed rights: the updater's key LogChanges "
                                           "was not set, or the setting MaxSeverity of "
                                           "[Logger] was below INFO.";

} // namespace

std::vector<ChangedAccount> ReadChanges(const std::string& message, std::string& unnamed)
{
    static const std::regex entry(R"(([+-])(.+?) \((every object|\d+ objects?)\)(?:, |$| and (\d+) more$))");
    std::vector<ChangedAccount> accounts;
    unnamed.clear();
    const std::size_t list = message.find(" rows: ");
    if (!message.starts_with(ChangedPrefix) || list == message.npos)
        return accounts;
    const std::string entries = message.substr(list + 7);
    for (std::sregex_iterator each(entries.begin(), entries.end(), entry); each != std::sregex_iterator(); ++each) {
        accounts.push_back({(*each)[1] == "+", (*each)[2], (*each)[3]});
        unnamed = (*each)[4];
    }
    return accounts;
}

std::string FoldAccount(std::string_view account)
{
    return Text::ToUtf8(ToLowerCase(Text::FromUtf8(account)));
}

void ChangeHistory::Take(const Line& line)
{
    const bool isWhole = line.message.starts_with(WrittenPrefix);
    if (!isWhole && !line.message.starts_with(ChangedPrefix))
        return;
    m_hasLines = true;
    const auto add = [&](const std::string& text) {
        m_lines.push_back(std::string(ToMilliseconds(line.time)) + "  " + text);
    };
    if (isWhole)
        add("* " + line.message.substr(WrittenPrefix.size()) + " written, without a list to compare them with");
    std::string unnamed;
    for (const ChangedAccount& each : ReadChanges(line.message, unnamed)) {
        if (m_account.empty() || FoldAccount(each.account) == m_account)
            add((each.gained ? "+ " : "- ") + each.account + "  " + each.objects);
    }
    if (!unnamed.empty())
        add("* " + unnamed + " more that the log does not name");
}

void ChangeHistory::Write(std::ostream& out) const
{
    for (const std::string& each : m_lines)
        out << each << '\n';
    if (!m_hasLines)
        out << NoChangeLines << '\n';
}

} // namespace LogTool
