#include "Host/Program/Files.h"
#include "Host/Program/Site.h"
#include "Tests/Fuzz/Fuzz.h"

void Try(std::string_view input)
{
    try {
        Host::ReadSite(std::string(input));
    } catch (const Host::InputError&) { // what it has to say of other texts
    }
}
