// What a test can ask about its own process.
#pragma once

// The threads that the process has now, the calling one included. A thread that was joined just before may still count
// for a moment.
unsigned CountProcessThreads();

// Whether the Windows around it is Wine, which answers differently in places.
bool RunsUnderWine();
