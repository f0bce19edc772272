// Failures of system calls as the codes that Windows has for them. Internal to the platform.
#pragma once

#include "Platform/Types.h"

#include <string>

// `error`: an errno. `path`, if not empty, is what the call was about: a missing folder on the way to it is told from a
// missing file.
DWORD ErrorFromErrno(int error, const std::string& path = {});
