// The message of a log statement while it is built: texts, and numbers as a stream writes them. Other types bring an
// operator of their own.
#pragma once

#include "Common/Foundation/Strings.h"
#include "Platform/Text.h"

#include <concepts>
#include <string>
#include <string_view>
#include <utility>

class LogText
{
public:
    LogText() { m_text.reserve(UsualLength); }

    LogText& operator<<(std::wstring_view text)
    {
        m_text += text;
        return *this;
    }
    LogText& operator<<(const wchar_t* text) { return *this << std::wstring_view(text); }
    LogText& operator<<(const char* text) // in UTF-8
    {
        Text::AppendFromUtf8(text, m_text);
        return *this;
    }

    // Truth values as 0 and 1. A template: a pointer must not become one.
    template <std::integral Number>
    LogText& operator<<(Number number)
    {
        static_assert((sizeof(Number) > sizeof(char) && !std::same_as<Number, wchar_t>) || std::same_as<Number, bool>,
                      "a character is no number");
        auto value = static_cast<std::uint64_t>(number);
        if constexpr (std::signed_integral<Number>) {
            if (number < 0) {
                m_text += L'-';
                value = 0 - value;
            }
        }
        Strings::AppendNumber(m_text, value);
        return *this;
    }

    std::wstring Take() { return std::move(m_text); }

private:
    static constexpr std::size_t UsualLength = 120; // makes the first allocation the only one

    std::wstring m_text;
};
