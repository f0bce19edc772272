// What the parts of a site say about each other.
#pragma once

#include "Host/Program/JsonCursor.h"
#include "Host/Program/Site.h"

namespace Host
{

// Checks that the instance names of the site differ, that what names a component names one that can serve, and that
// each event finds what it is about when its turn comes. Throws InputError. `json` is what `site` was read from.
void CheckReferences(const Site& site, const JsonCursor& json);

} // namespace Host
