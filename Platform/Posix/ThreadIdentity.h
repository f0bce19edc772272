// Whether the calling thread acts under another identity than the process's. Internal to the platform and to tests.
#pragma once

namespace Platform
{

extern thread_local bool threadHasIdentity;

} // namespace Platform
