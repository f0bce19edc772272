// Lower case of all letters, independent of the user's language and of the process's locale: the one folding of case.
#pragma once

#include <string>

// One character becomes one character. A letter that is not the upper case of its lower case stays (the dotted capital
// I, the sharp capital S, the Kelvin sign), as Windows has it. Any thread.
std::wstring ToLowerCase(std::wstring text);
