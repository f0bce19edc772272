// Attribute values: what may be stored, and how one type is read as another.
//
// Stored as given: integers and booleans in their fixed sizes (any non-zero boolean byte as 1), texts with exactly one
// zero, at their end (UTF-8 is not checked further), lists as texts each ending with its zero, binary values of any
// size. No value at all (null, size 0) is an empty value, an empty list or a binary value without bytes.
//
// Read as another type:
//   integers, booleans   as each other within range (non-zero is true), and as text: decimal, "true", "false"
//   texts                as each other; as a list of one; as a number when the whole text is one, decimal or 0x, with
//                        or without sign; as a boolean: "true", "false" in any letter case, "1", "0"
//   list of one          as UTF-16 text
//   empty                as empty text, empty list, no bytes
// Everything else is refused with HResultFromWin32(ERROR_INVALID_DATATYPE); numbers out of range with
// HResultFromWin32(ERROR_ARITHMETIC_OVERFLOW); texts that are no number or boolean with E_INVALIDARG.
#pragma once

#include "Host/Support/Failure.h"
#include "Interfaces/Nodwell.h"

#include <string>
#include <string_view>
#include <vector>

inline constexpr Host::Refusal Refuse{L"Nodwell"};

struct Value
{
    uint16_t type = KelnEmpty;
    std::string bytes;
};

// The value that a caller wants stored; E_INVALIDARG when it is malformed or of no known type. `attribute` names it in
// the description of a failure, here and below.
Value MakeValue(uint16_t type, const void* data, uint32_t size, std::wstring_view attribute);

// The value read as `type`.
Value Convert(const Value& value, uint16_t type, std::wstring_view attribute);

// For people: a type's name, the texts of a list, and any other value as text (binary in hexadecimal digits).
const wchar_t* TypeName(uint16_t type);
std::vector<std::wstring> ListItems(const Value& list);
std::wstring DisplayText(const Value& value);
