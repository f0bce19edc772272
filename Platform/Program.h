// What a program, unlike a module, decides about its process.
#pragma once

#include <string>
#include <vector>

namespace Platform
{

// The columns of the terminal in which a person reads the standard output, or standard error; 0 when it is none.
unsigned OutputTerminalWidth();
unsigned ErrorTerminalWidth();

// The arguments behind the program's name, in UTF-8; natively the bytes as they were given.
std::vector<std::string> ProgramArguments(int argc, char** argv);

// Files and folders that the process makes from now on are for their owner and group at most; on Windows the folder's
// permissions decide. For a program's start, before there are other threads.
void KeepNewFilesFromOthers();

} // namespace Platform
