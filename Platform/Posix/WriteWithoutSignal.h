// Writing within somebody else's process. Internal to the layer.
#pragma once

#include <cstddef>
#include <sys/types.h>

// As write(), tried again after an interruption. A broken pipe and a file size beyond the process's limit are errors
// only: their signals, SIGPIPE and SIGXFSZ, would end the process.
ssize_t WriteWithoutSignal(int descriptor, const void* bytes, std::size_t size);
