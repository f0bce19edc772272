// The accounts file, which AccountDirectory.h describes. Internal to the platform.
#pragma once

#include "Platform/Posix/AccountDirectory.h"

// The accounts as the file has them now. The directory does not change: who holds it sees one state of the file. Any
// thread.
std::shared_ptr<const AccountDirectory> CurrentAccounts();
