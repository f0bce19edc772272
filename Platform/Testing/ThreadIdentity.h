// A thread that works for a client, for tests.
#pragma once

// While it lives, the calling thread acts under an identity of its own. Throws std::runtime_error when it cannot.
class ThreadIdentity
{
public:
    ThreadIdentity();
    ~ThreadIdentity();
    ThreadIdentity(const ThreadIdentity&) = delete;
    ThreadIdentity& operator=(const ThreadIdentity&) = delete;
};
