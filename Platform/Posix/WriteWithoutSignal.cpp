#include "Platform/Posix/WriteWithoutSignal.h"

#include <cerrno>
#include <csignal>
#include <ctime>
#include <unistd.h>

ssize_t WriteWithoutSignal(int descriptor, const void* bytes, std::size_t size)
{
    sigset_t raised;
    sigset_t before;
    sigemptyset(&raised);
    sigaddset(&raised, SIGPIPE);
    sigaddset(&raised, SIGXFSZ);
    pthread_sigmask(SIG_BLOCK, &raised, &before);
    ssize_t count = 0;
    do
        count = write(descriptor, bytes, size);
    while (count < 0 && errno == EINTR);
    const int error = errno;
    const timespec atOnce{};
    while (count < 0 && (sigtimedwait(&raised, nullptr, &atOnce) != -1 || errno == EINTR)) {
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    errno = error;
    return count;
}
