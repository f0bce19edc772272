// The mutexes with annotations, and their scoped lock.
#pragma once

#include "Common/Foundation/ThreadAnnotations.h"
#include "Platform/Mutexes.h"

template <class AnyMutex>
class CAPABILITY("mutex") AnnotatedMutex
{
public:
    void lock() ACQUIRE() { m_native.lock(); }
    void unlock() RELEASE() { m_native.unlock(); }

private:
    AnyMutex m_native;
};

using Mutex = AnnotatedMutex<Native::Mutex>;
using RecursiveMutex = AnnotatedMutex<Native::RecursiveMutex>;

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
