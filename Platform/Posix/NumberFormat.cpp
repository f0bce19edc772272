#include "Platform/Posix/Failure.h"
#include "Platform/Posix/Win32Time.h"

#include <algorithm>
#include <string>
#include <string_view>

namespace
{

struct Number
{
    bool negative;
    std::wstring whole; // without leading zeros
    std::wstring fraction;
};

bool IsDigits(std::wstring_view text)
{
    return std::all_of(text.begin(), text.end(), [](wchar_t c) { return c >= L'0' && c <= L'9'; });
}

Number Parse(std::wstring_view text)
{
    Number number{text.starts_with(L'-'), {}, {}};
    text.remove_prefix(number.negative ? 1 : 0);
    const std::size_t point = std::min(text.find(L'.'), text.size());
    number.whole = text.substr(0, point);
    number.whole.erase(0, number.whole.find_first_not_of(L'0'));
    number.fraction = text.substr(std::min(point + 1, text.size()));
    return number;
}

// Adds one in the last place; true when it carries over the first.
bool Increment(std::wstring& digits)
{
    for (auto digit = digits.rbegin(); digit != digits.rend(); ++digit) {
        if (*digit != L'9') {
            ++*digit;
            return false;
        }
        *digit = L'0';
    }
    return true;
}

// Half goes away from zero.
void Round(Number& number, std::size_t digits)
{
    const bool up = number.fraction.size() > digits && number.fraction[digits] >= L'5';
    number.fraction.resize(digits, L'0');
    if (up && Increment(number.fraction) && Increment(number.whole))
        number.whole.insert(0, 1, L'1');
}

std::wstring Format(Number number, const NUMBERFMTW& format)
{
    Round(number, format.NumDigits);
    std::wstring text = std::move(number.whole);
    if (text.empty() && format.LeadingZero)
        text = L"0";
    if (format.Grouping > 0) {
        for (std::size_t place = text.size(); place > format.Grouping;)
            text.insert(place -= format.Grouping, format.lpThousandSep);
    }
    if (format.NumDigits > 0)
        text += format.lpDecimalSep + number.fraction;
    if (!number.negative)
        return text;
    switch (format.NegativeOrder) {
    case 0:
        return L'(' + text + L')';
    case 1:
        return L'-' + text;
    case 2:
        return L"- " + text;
    case 3:
        return text + L'-';
    default:
        return text + L" -";
    }
}

} // namespace

int GetNumberFormatW(LCID locale, DWORD flags, LPCWSTR value, const NUMBERFMTW* format, LPWSTR buffer, int size)
try {
    if (locale != LOCALE_INVARIANT || flags != 0 || !format)
        return Fail(ERROR_NOT_SUPPORTED, 0);
    if (!value || size < 0 || (!buffer && size > 0) || format->NumDigits > 9 || format->LeadingZero > 1 ||
        format->Grouping > 9 || format->NegativeOrder > 4 || !format->lpDecimalSep || !format->lpThousandSep)
        return Fail(ERROR_INVALID_PARAMETER, 0);
    Number number = Parse(value);
    if (!IsDigits(number.whole) || !IsDigits(number.fraction))
        return Fail(ERROR_INVALID_PARAMETER, 0);
    const std::wstring text = Format(std::move(number), *format);
    const int needed = static_cast<int>(text.size()) + 1;
    if (size == 0)
        return needed;
    if (size < needed)
        return Fail(ERROR_INSUFFICIENT_BUFFER, 0);
    std::copy_n(text.c_str(), needed, buffer);
    return needed;
} catch (...) {
    return Fail(ExceptionCode(), 0);
}
