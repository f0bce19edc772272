// Authorization contexts that are open, for tests that everything is freed.
#pragma once

// What was handed out in this process and not freed. Any thread. On Windows the stand-in authz.dll
// (Platform/Testing/Windows) counts; std::runtime_error when the process has another one or none.
unsigned CountAuthzContexts();
