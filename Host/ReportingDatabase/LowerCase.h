// How texts of the reporting database are told apart.
#pragma once

#include <string>

namespace Host
{

// Two UTF-8 texts that differ in case only have the same lower-case form. Letters beyond ASCII follow the system's
// C.UTF-8 tables; on a system without them they stay as they are.
std::string ToLower(std::string text);

} // namespace Host
