// How texts of the reporting database are told apart.
#pragma once

#include "Platform/LetterCase.h"
#include "Platform/Text.h"

#include <string>
#include <string_view>

namespace Host
{

// Two UTF-8 texts that differ in case only have the same lower-case form.
inline std::string ToLower(std::string_view text)
{
    return Text::ToUtf8(ToLowerCase(Text::FromUtf8(text)));
}

} // namespace Host
