// Module-wide objects: constructed on first use, destroyed when the module unloads (in reverse order of construction).
#pragma once

#include "Platform/Threads.h"

#include <atomic>
#include <cstddef>
#include <memory>
#include <mutex>
#include <new>

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
            instance = new (s_storage) T();
            s_instance.store(instance, std::memory_order_release);
            // Constructed after the instance, so it is destroyed where a static instance would be.
            static const Unloading unloading;
        }
        return *instance;
    }

    struct Unloading
    {
        ~Unloading() { std::destroy_at(s_instance.exchange(nullptr)); }
    };

    alignas(T) static inline std::byte s_storage[sizeof(T)]{}; // making the object itself needs no memory
    static inline std::atomic<T*> s_instance{nullptr};
    static inline Platform::Mutex s_lock; // guards creation
};
