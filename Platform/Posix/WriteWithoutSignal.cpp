#include "Platform/Posix/WriteWithoutSignal.h"

#include <cerrno>
#include <csignal>
#include <ctime>
#include <initializer_list>
#include <unistd.h>

ssize_t WriteWithoutSignal(int descriptor, const void* bytes, std::size_t size)
{
    sigset_t raised;
    sigemptyset(&raised);
    sigaddset(&raised, SIGPIPE);
    sigaddset(&raised, SIGXFSZ);
    sigset_t blockedBefore;
    sigset_t waitingBefore;
    sigemptyset(&waitingBefore);
    pthread_sigmask(SIG_BLOCK, &raised, &blockedBefore);
    // Only a blocked signal can be waiting.
    if (sigismember(&blockedBefore, SIGPIPE) == 1 || sigismember(&blockedBefore, SIGXFSZ) == 1)
        sigpending(&waitingBefore);
    ssize_t count = 0;
    do
        count = write(descriptor, bytes, size);
    while (count < 0 && errno == EINTR);
    const int error = errno;
    if (count < 0) {
        // A signal that has been waiting since before is somebody else's.
        for (const int signal : {SIGPIPE, SIGXFSZ}) {
            if (sigismember(&waitingBefore, signal) == 1)
                sigdelset(&raised, signal);
        }
        const timespec atOnce{};
        while (sigtimedwait(&raised, nullptr, &atOnce) != -1 || errno == EINTR) {
        }
    }
    pthread_sigmask(SIG_SETMASK, &blockedBefore, nullptr);
    errno = error;
    return count;
}
