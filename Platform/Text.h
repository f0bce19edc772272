// Conversions between the platform's wide text (2 or 4 bytes a character) and the fixed encodings outside it: UTF-16LE
// in node attributes and the log file, UTF-8 in serialized nodes and on POSIX systems. Everybody converts through
// these.
#pragma once

#include <bit>
#include <string>
#include <string_view>

namespace Text
{

inline constexpr char32_t ReplacementCharacter = 0xFFFD;

constexpr bool IsHighSurrogate(char32_t c)
{
    return c >= 0xD800 && c <= 0xDBFF;
}
constexpr bool IsLowSurrogate(char32_t c)
{
    return c >= 0xDC00 && c <= 0xDFFF;
}
constexpr char32_t JoinSurrogates(char32_t high, char32_t low)
{
    return 0x10000 + ((high - 0xD800) << 10) + (low - 0xDC00);
}

// Appends one code point as the platform's wide characters. A surrogate without partner is kept as it is.
inline void AppendWide(char32_t c, std::wstring& text)
{
    if (c > 0x10FFFF)
        c = ReplacementCharacter;
    if constexpr (sizeof(wchar_t) == 2) {
        if (c > 0xFFFF) {
            text.push_back(static_cast<wchar_t>(0xD800 + ((c - 0x10000) >> 10)));
            c = 0xDC00 + ((c - 0x10000) & 0x3FF);
        }
    }
    text.push_back(static_cast<wchar_t>(c));
}

// Reads the code point at `position` and moves behind it. Two wide characters that form a surrogate pair are one code
// point on both platforms; a surrogate without partner is returned as it is.
inline char32_t NextCodePoint(std::wstring_view text, std::size_t& position)
{
    char32_t c = static_cast<char32_t>(text[position++]);
    if constexpr (sizeof(wchar_t) == 2)
        c &= 0xFFFF;
    if (IsHighSurrogate(c) && position < text.size()) {
        const char32_t low = static_cast<char32_t>(text[position]);
        if (IsLowSurrogate(low)) {
            ++position;
            return JoinSurrogates(c, low);
        }
    }
    return c > 0x10FFFF ? ReplacementCharacter : c;
}

// Appends `text` to `bytes` as UTF-16LE without byte-order mark. Surrogates without partner pass unchanged.
inline void AppendUtf16Le(std::wstring_view text, std::string& bytes)
{
    const auto put = [](char* to, char32_t unit) {
        to[0] = static_cast<char>(unit & 0xFF);
        to[1] = static_cast<char>((unit >> 8) & 0xFF);
        return to + 2;
    };
    constexpr std::size_t mostBytes = sizeof(wchar_t); // of a character
    const std::size_t start = bytes.size();
    bytes.resize(start + mostBytes * text.size());
    char* to = bytes.data() + start;
    for (std::size_t i = 0; i < text.size();) {
        if (static_cast<char32_t>(text[i]) < 0xD800) { // most are: one unit, whatever follows
            to = put(to, static_cast<char32_t>(text[i++]));
            continue;
        }
        const char32_t c = NextCodePoint(text, i);
        if (c > 0xFFFF) {
            to = put(to, 0xD800 + ((c - 0x10000) >> 10));
            to = put(to, 0xDC00 + ((c - 0x10000) & 0x3FF));
        } else {
            to = put(to, c);
        }
    }
    bytes.resize(static_cast<std::size_t>(to - bytes.data()));
}

// The wide text of UTF-16LE `bytes`. Surrogates without partner pass unchanged; an odd last byte becomes U+FFFD.
inline std::wstring FromUtf16Le(std::string_view bytes)
{
    const auto unit = [&bytes](std::size_t i) {
        return static_cast<char32_t>(static_cast<unsigned char>(bytes[i]) |
                                     (static_cast<unsigned char>(bytes[i + 1]) << 8));
    };
    std::wstring text;
    text.reserve(bytes.size() / 2);
    std::size_t i = 0;
    for (; i + 1 < bytes.size(); i += 2) {
        char32_t c = unit(i);
        if (IsHighSurrogate(c) && i + 3 < bytes.size() && IsLowSurrogate(unit(i + 2))) {
            c = JoinSurrogates(c, unit(i + 2));
            i += 2;
        }
        AppendWide(c, text);
    }
    if (i < bytes.size())
        AppendWide(ReplacementCharacter, text);
    return text;
}

// Appends `text` to `bytes` as UTF-8. Surrogates without partner, which UTF-8 cannot hold, become U+FFFD.
inline void AppendUtf8(std::wstring_view text, std::string& bytes)
{
    bytes.reserve(bytes.size() + text.size());
    for (std::size_t i = 0; i < text.size();) {
        char32_t c = NextCodePoint(text, i);
        if (c < 0x80) {
            bytes.push_back(static_cast<char>(c));
            continue;
        }
        if (IsHighSurrogate(c) || IsLowSurrogate(c))
            c = ReplacementCharacter;
        const char32_t lead = c < 0x800 ? 0xC0 : c < 0x10000 ? 0xE0 : 0xF0;
        int shift = c < 0x800 ? 6 : c < 0x10000 ? 12 : 18;
        bytes.push_back(static_cast<char>(lead | (c >> shift)));
        while ((shift -= 6) >= 0)
            bytes.push_back(static_cast<char>(0x80 | ((c >> shift) & 0x3F)));
    }
}

inline std::string ToUtf8(std::wstring_view text)
{
    std::string bytes;
    AppendUtf8(text, bytes);
    return bytes;
}

// Appends the wide text of UTF-8 `bytes`. Every byte that belongs to no well-formed sequence becomes U+FFFD.
inline void AppendFromUtf8(std::string_view bytes, std::wstring& text)
{
    for (std::size_t i = 0; i < bytes.size();) {
        const auto lead = static_cast<unsigned char>(bytes[i]);
        if (lead < 0x80) {
            text.push_back(static_cast<wchar_t>(lead));
            ++i;
            continue;
        }
        const auto length = static_cast<std::size_t>(std::countl_one(lead)); // 1, and more than 4: begins no sequence
        bool valid = length > 1 && length <= 4 && i + length <= bytes.size();
        char32_t c = lead & (0x7FU >> length);
        for (std::size_t k = 1; valid && k < length; ++k) {
            valid = (bytes[i + k] & 0xC0) == 0x80;
            c = (c << 6) | (bytes[i + k] & 0x3F);
        }
        // Overlong forms, surrogates and values beyond Unicode are no characters.
        constexpr char32_t least[] = {0, 0, 0x80, 0x800, 0x10000};
        valid = valid && c >= least[length] && c <= 0x10FFFF && !IsHighSurrogate(c) && !IsLowSurrogate(c);
        AppendWide(valid ? c : ReplacementCharacter, text);
        i += valid ? length : 1;
    }
}

inline std::wstring FromUtf8(std::string_view bytes)
{
    std::wstring text;
    text.reserve(bytes.size());
    AppendFromUtf8(bytes, text);
    return text;
}

} // namespace Text
