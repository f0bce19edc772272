// Writing within somebody else's process. Internal to the platform.
#pragma once

#include <cerrno>
#include <csignal>
#include <ctime>
#include <string_view>
#include <unistd.h>

// As write(), tried again after an interruption. A broken pipe and a file size beyond the process's limit are errors
// only: their signals, SIGPIPE and SIGXFSZ, would end the process.
inline ssize_t WriteWithoutSignal(int descriptor, std::string_view bytes)
{
    sigset_t raised;
    sigset_t before;
    sigemptyset(&raised);
    sigaddset(&raised, SIGPIPE);
    sigaddset(&raised, SIGXFSZ);
    pthread_sigmask(SIG_BLOCK, &raised, &before);
    ssize_t count = 0;
    do
        count = write(descriptor, bytes.data(), bytes.size());
    while (count < 0 && errno == EINTR);
    const int error = errno;
    const timespec atOnce{};
    while (count < 0 && (sigtimedwait(&raised, nullptr, &atOnce) != -1 || errno == EINTR)) {
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    errno = error;
    return count;
}
