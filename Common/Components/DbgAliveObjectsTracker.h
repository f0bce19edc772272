// A register of live component objects, written to the log on request.
#pragma once

#include "Common/Foundation/Mutex.h"
#include "Common/Settings/SettingsStore.h"

#include <array>
#include <atomic>
#include <map>

// Thread-safe. Does nothing unless the setting "EnableAliveObjectsTracking" of the section "Debug" is not 0.
class DbgAliveObjectsTracker
{
public:
    DbgAliveObjectsTracker();
    explicit DbgAliveObjectsTracker(SettingsStore& store);
    ~DbgAliveObjectsTracker();
    static DbgAliveObjectsTracker& Instance();

    // `tag` names the object's type and must live as long as the object. An object that is registered keeps its record.
    void Register(const void* object, const char* tag);
    void Unregister(const void* object);

    // One WARN line with the number of objects, one for each object. Nothing when there is none.
    void Report() noexcept;

private:
    struct Record
    {
        std::array<void*, 4> frames; // of the object's construction, innermost first
        const char* tag;
    };

    std::atomic<bool> m_enabled{false};
    std::uint32_t m_framesToSkip = 0;
    RecursiveMutex m_lock; // held for a whole report
    std::map<const void*, Record> m_objects GUARDED_BY(m_lock);
};
