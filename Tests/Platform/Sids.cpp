#include "Tests/Platform/SidText.h"

#include <algorithm>
#include <cwchar>

namespace
{

// Of revision, number of sub-authorities, upper and lower part of the authority, sub-authorities.
std::vector<BYTE> SidBytes(const Row& row)
{
    if (row.numbers.empty())
        return {};
    std::vector<BYTE> bytes{static_cast<BYTE>(row.numbers[0]), static_cast<BYTE>(row.numbers[1])};
    const auto append = [&](std::size_t number, std::initializer_list<int> shifts) {
        for (const int shift : shifts)
            bytes.push_back(static_cast<BYTE>(row.Number(number) >> shift));
    };
    append(2, {8, 0});
    append(3, {24, 16, 8, 0});
    for (std::size_t i = 4; i < row.numbers.size(); ++i)
        append(i, {0, 8, 16, 24});
    return bytes;
}

bool Succeeded(const Row&, unsigned long long result)
{
    return result != 0;
}

} // namespace

// Text: the SID's text. The answer's text is that of the SID.
TEST(Sids, AreReadFromText)
{
    const std::vector<Row> rows{
#include "Tests/Platform/RecordedSidTexts.inl"
    };
    const auto call = [](const Row& row, wchar_t* buffer) {
        PSID sid = nullptr;
        const BOOL done = ConvertStringSidToSidW(row.texts[0], &sid);
        const UniqueLocal<void> owner(done ? sid : nullptr);
        std::wcscpy(buffer, done ? SidText(sid).c_str() : L"");
        return done;
    };
    Expect(rows, call, Succeeded);
    EXPECT_EQ(ErrorOf([] { EXPECT_FALSE(ConvertStringSidToSidW(L"S-1-1-0", nullptr)); }),
              DWORD{ERROR_INVALID_PARAMETER});
}

// Numbers: those of SidBytes. The result is the length of a valid SID; error and text are the conversion's.
TEST(Sids, HaveLengthAndText)
{
    const std::vector<Row> rows{
#include "Tests/Platform/RecordedSids.inl"
    };
    const auto call = [](const Row& row, wchar_t* buffer) {
        std::vector<BYTE> bytes = SidBytes(row);
        PSID sid = bytes.empty() ? nullptr : bytes.data();
        std::wcscpy(buffer, SidText(sid).c_str());
        return IsValidSid(sid) ? GetLengthSid(sid) : 0;
    };
    Expect(rows, call, Succeeded);
}

// Numbers: room, revision.
TEST(Sids, AreCopiedWhole)
{
    const std::vector<Row> rows{
#include "Tests/Platform/RecordedSidCopies.inl"
    };
    const auto call = [](const Row& row, wchar_t* buffer) {
        BYTE source[]{static_cast<BYTE>(row.numbers[1]), 1, 0, 0, 0, 0, 0, 5, 18, 0, 0, 0};
        std::vector<BYTE> copy(row.Number(0), 0xEE);
        BYTE none = 0;
        const BOOL done = CopySid(row.Number(0), copy.empty() ? &none : copy.data(), source);
        EXPECT_EQ(std::count(copy.begin(), copy.end(), 0xEE), row.numbers[0] - (done ? 12 : 0));
        if (done)
            std::wcscpy(buffer, SidText(copy.data()).c_str());
        return done;
    };
    Expect(rows, call, Succeeded);
}

// Texts: two SIDs; null: one that is not valid.
TEST(Sids, AreOfOneDomainOrNot)
{
    const std::vector<Row> rows{
#include "Tests/Platform/RecordedSidDomains.inl"
    };
    const auto call = [](const Row& row, wchar_t* buffer) {
        BYTE invalid[]{2, 1, 0, 0, 0, 0, 0, 5, 18, 0, 0, 0};
        const UniqueLocal<void> a = SidOf(row.texts[0]);
        const UniqueLocal<void> b = SidOf(row.texts[1]);
        BOOL equal = 7;
        const BOOL done = EqualDomainSid(a ? a.get() : invalid, b ? b.get() : invalid, &equal);
        EXPECT_EQ(done, equal != 7);
        std::wcscpy(buffer, equal ? L"equal" : L"different");
        return done;
    };
    Expect(rows, call, Succeeded);
    const UniqueLocal<void> sid = SidOf(L"S-1-5-21-1-2-3");
    EXPECT_EQ(ErrorOf([&] { EXPECT_FALSE(EqualDomainSid(sid.get(), sid.get(), nullptr)); }),
              DWORD{ERROR_INVALID_PARAMETER});
}

TEST(Sids, WellKnownOnesAreTold)
{
    const std::pair<const wchar_t*, WELL_KNOWN_SID_TYPE> sids[]{{L"S-1-1-0", WinWorldSid},
                                                                {L"S-1-5-18", WinLocalSystemSid},
                                                                {L"S-1-5-19", WinLocalServiceSid},
                                                                {L"S-1-5-20", WinNetworkServiceSid},
                                                                {L"S-1-5-32-545", WinBuiltinUsersSid},
                                                                {L"S-1-5-32-544", WinBuiltinAdministratorsSid}};
    const UniqueLocal<void> account = SidOf(L"S-1-5-21-1-2-3-18");
    BYTE invalid[]{2, 1, 0, 0, 0, 0, 0, 5, 18, 0, 0, 0};
    for (const auto& [text, type] : sids) {
        for (const auto& [other, otherType] : sids)
            EXPECT_EQ(IsWellKnownSid(SidOf(other).get(), type), type == otherType) << type << ' ' << otherType;
        EXPECT_FALSE(IsWellKnownSid(account.get(), type));
        EXPECT_FALSE(IsWellKnownSid(invalid, type));
    }
}
