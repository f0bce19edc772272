// What a program, unlike a module, decides about its process.
#pragma once

namespace Platform
{

// Whether a person sees the standard output while it is written.
bool OutputIsTerminal();

// Files and folders that the process makes from now on are for their owner and group at most; on Windows the folder's
// permissions decide. For a program's start, before there are other threads.
void KeepNewFilesFromOthers();

} // namespace Platform
