// The shape of site files, which Samples/site.schema.json describes: keys, types, ranges, enumerations.
#pragma once

#include "Host/Program/JsonCursor.h"

namespace Host
{

// Throws InputError for the first place at which `site` has another shape. What the schema calls a description is what
// was expected there.
void CheckShape(const JsonCursor& site);

} // namespace Host
