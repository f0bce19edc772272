// The lines of an accounts file, whose format AccountDirectory.h describes. Free of the system as well.
#pragma once

#include "Platform/Posix/AccountDirectory.h"

// Adds the account, domain, membership or type of a line. Returns what was expected of a line that cannot be used,
// which adds nothing; null otherwise.
const wchar_t* AddAccountLine(AccountDirectory& directory, std::wstring_view line);

// Adds the computer's own domain where no line has.
void AddMissingComputer(AccountDirectory& directory);
