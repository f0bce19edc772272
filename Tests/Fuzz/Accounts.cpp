#include "Platform/Posix/AccountDirectory.h"
#include "Tests/Fuzz/Fuzz.h"

// Lines of an accounts file; the last one is a name or a SID to look up.
void Try(std::string_view input)
{
    AccountDirectory accounts;
    const wchar_t* expected = nullptr;
    while (!expected && input.find('\n') != input.npos)
        expected = accounts.AddLine(Text::FromUtf8(TakeField(input)));
    if (expected)
        return;
    const std::wstring text = Text::FromUtf8(input);
    if (const Account* const found = accounts.FindByName(text)) {
        Require(Platform::IsValidSid(found->sid), "an account has a SID");
        Require(accounts.FindBySid(found->sid) != nullptr, "an account is found by its SID");
        accounts.GroupsOf(*found);
    }
    Platform::Sid sid;
    if (!Platform::ParseSid(text, sid))
        return;
    std::wstring formatted;
    Platform::Sid again;
    Require(Platform::FormatSid(sid, formatted) == S_OK, "what was read is a valid SID");
    Require(Platform::ParseSid(formatted, again) && again == sid, "a SID's text reads as the same SID");
    bool same = false;
    Require(Platform::AreOfSameDomain(sid, again, same) != S_OK || same, "a SID is of its own domain");
}
