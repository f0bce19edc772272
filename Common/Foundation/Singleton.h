// Module-wide objects: made on first use, gone when the module unloads (the last made goes first).
#pragma once

#include "Platform/Mutexes.h"

#include <atomic>
#include <mutex>

// `T` is an ordinary class with a public constructor; tests build their own. A constructor that throws is tried again
// by the next call. Any thread.
template <class T>
class Singleton
{
public:
    static T& Instance()
    {
        T* instance = s_instance.load(std::memory_order_acquire);
        return instance ? *instance : Create();
    }

private:
    static T& Create()
    {
        const std::lock_guard lock(s_lock);
        T* instance = s_instance.load(std::memory_order_relaxed);
        if (!instance) {
            instance = new T();
            s_instance.store(instance, std::memory_order_release);
            // Made behind the instance: it goes in the instance's place among the module's static objects.
            static const Unloading unloading;
        }
        return *instance;
    }

    struct Unloading
    {
        ~Unloading() { delete s_instance.exchange(nullptr); }
    };

    static inline std::atomic<T*> s_instance{nullptr};
    static inline Native::Mutex s_lock; // guards creation
};
