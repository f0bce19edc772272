// The components of the host are made as the interfaces' own headers offer it.
#pragma once

#include "Interfaces/Component.h"

namespace Host
{

using ::Component;
using ::MakeComponent;

} // namespace Host
