#include "Host/Program/AccountBook.h"

#include "Host/Components/SidTexts.h"
#include "Platform/Posix/TextFile.h"
#include "Platform/Text.h"

#include <algorithm>

namespace Host
{

AccountBook::AccountBook(const JsonCursor& lines)
{
    for (const JsonCursor& each : lines.Items()) {
        const std::wstring text = each.Text();
        if (text.find_first_of(L"\r\n") != text.npos)
            each.Fail("one line");
        const std::wstring_view line = Trim(text);
        if (line.empty() || line.starts_with(L'#'))
            continue;
        if (const wchar_t* const expected = m_directory.AddLine(line))
            each.Fail(Text::ToUtf8(expected));
        const std::size_t keyword = line.find_first_of(L" \t=");
        const std::size_t separator = line.find(L'=');
        m_lines.push_back({std::wstring(line.substr(0, keyword)),
                           std::wstring(Trim(line.substr(keyword, separator - keyword))),
                           std::wstring(Trim(line.substr(separator + 1)))});
    }
    m_directory.CompleteComputer();
}

std::optional<std::wstring> AccountBook::SidOf(const std::wstring& nameOrSid) const
{
    if (const Account* account = m_directory.FindByName(nameOrSid))
        return SidText(account->sid);
    return IsSidText(nameOrSid) ? std::optional(nameOrSid) : std::nullopt;
}

std::wstring AccountBook::FullName(const std::wstring& name) const
{
    const Account* account = name.find(L'\\') == name.npos ? nullptr : m_directory.FindByName(name);
    return account ? account->domain + L'\\' + account->name : name;
}

void AccountBook::Remove(const JsonCursor& name)
{
    const Account& account = Find(name);
    std::erase_if(m_lines,
                  [&](const Line& line) { return IsAbout(line.name, account) || IsAbout(line.value, account); });
    Load();
}

void AccountBook::Rename(const JsonCursor& name, const JsonCursor& newName)
{
    const Account& account = Find(name);
    for (Line& line : m_lines) {
        for (std::wstring* each : {&line.name, &line.value}) {
            if (IsAbout(*each, account))
                *each = account.domain + L'\\' + newName.Text();
        }
    }
    if (!Load())
        newName.Fail("a plain name that is not taken in its domain");
}

std::string AccountBook::FileText() const
{
    std::wstring text;
    for (const Line& line : m_lines)
        text += line.Text() + L'\n';
    return Text::ToUtf8(text);
}

bool AccountBook::IsAbout(const std::wstring& name, const Account& account) const
{
    return m_directory.FindByName(name) == &account;
}

const Account& AccountBook::Find(const JsonCursor& name) const
{
    const Account* account = m_directory.FindByName(name.Text());
    const bool isOurs = account && std::any_of(m_lines.begin(), m_lines.end(), [&](const Line& line) {
                            return (line.keyword == L"user" || line.keyword == L"group" || line.keyword == L"alias") &&
                                   IsAbout(line.name, *account);
                        });
    if (!isOurs)
        name.Fail("the name of an account of /accounts that exists by then");
    return *account;
}

// Whether every line can be used.
bool AccountBook::Load()
{
    m_directory = AccountDirectory();
    const bool isGood = std::all_of(m_lines.begin(), m_lines.end(),
                                    [this](const Line& line) { return m_directory.AddLine(line.Text()) == nullptr; });
    m_directory.CompleteComputer();
    return isGood;
}

} // namespace Host
