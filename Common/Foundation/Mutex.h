// The mutexes with annotations, and their scoped lock.
#pragma once

#include "Platform/Threads.h"

// Which lock guards what, said in a form that a clang pass checks (-Wthread-safety). Empty under other compilers.
#ifdef __clang__
#define KESTRINE_THREAD_ANNOTATION(x) __attribute__((x))
#else
#define KESTRINE_THREAD_ANNOTATION(x)
#endif

#define CAPABILITY(name) KESTRINE_THREAD_ANNOTATION(capability(name))
#define SCOPED_CAPABILITY KESTRINE_THREAD_ANNOTATION(scoped_lockable)
#define GUARDED_BY(lock) KESTRINE_THREAD_ANNOTATION(guarded_by(lock))
#define REQUIRES(...) KESTRINE_THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
#define EXCLUDES(...) KESTRINE_THREAD_ANNOTATION(locks_excluded(__VA_ARGS__))
#define ACQUIRE(...) KESTRINE_THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
#define RELEASE(...) KESTRINE_THREAD_ANNOTATION(release_capability(__VA_ARGS__))

template <class AnyMutex>
class CAPABILITY("mutex") AnnotatedMutex
{
public:
    void lock() ACQUIRE() { m_native.lock(); }
    void unlock() RELEASE() { m_native.unlock(); }

private:
    AnyMutex m_native;
};

using Mutex = AnnotatedMutex<Platform::Mutex>;
using RecursiveMutex = AnnotatedMutex<Platform::RecursiveMutex>;

// Holds a mutex for a scope; may be left and taken again in between (also by a condition variable that waits with it).
template <class AnyMutex>
class SCOPED_CAPABILITY BasicLock
{
public:
    explicit BasicLock(AnyMutex& mutex) ACQUIRE(mutex) : m_mutex(mutex) { m_mutex.lock(); }
    ~BasicLock() RELEASE()
    {
        if (m_held)
            m_mutex.unlock();
    }
    BasicLock(const BasicLock&) = delete;
    BasicLock& operator=(const BasicLock&) = delete;

    void lock() ACQUIRE()
    {
        m_mutex.lock();
        m_held = true;
    }
    void unlock() RELEASE()
    {
        m_held = false;
        m_mutex.unlock();
    }

private:
    AnyMutex& m_mutex;
    bool m_held = true;
};

// Leaves a mutex that the thread holds for a scope.
template <class AnyMutex>
class SCOPED_CAPABILITY BasicUnlock
{
public:
    explicit BasicUnlock(AnyMutex& mutex) RELEASE(mutex) : m_mutex(mutex) { m_mutex.unlock(); }
    ~BasicUnlock() RELEASE() { m_mutex.lock(); } // "release" of the scope: the mutex is taken again
    BasicUnlock(const BasicUnlock&) = delete;
    BasicUnlock& operator=(const BasicUnlock&) = delete;

private:
    AnyMutex& m_mutex;
};

using MutexLock = BasicLock<Mutex>;
using RecursiveMutexLock = BasicLock<RecursiveMutex>;
using RecursiveMutexUnlock = BasicUnlock<RecursiveMutex>;
