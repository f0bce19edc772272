#include "Common/Components/DbgAliveObjectsTracker.h"

#include "Common/Diagnostics/Log.h"
#include "Common/Foundation/Singleton.h"
#include "Common/Foundation/Strings.h"
#include "Platform/Process.h"

namespace
{

// The report's lines carry fixed line numbers, so that tools that collect reports know them across versions.
constexpr SourceLocation CountLine{"Common/Components/DbgAliveObjectsTracker.cpp", 59};
constexpr SourceLocation EntryLine{"Common/Components/DbgAliveObjectsTracker.cpp", 72};

std::wstring FrameList(const std::array<void*, 4>& frames)
{
    std::wstring list;
    for (const void* const frame : frames)
        list += (list.empty() ? L"" : L";") + Strings::Hex(frame);
    return list;
}

} // namespace

DbgAliveObjectsTracker::DbgAliveObjectsTracker() : DbgAliveObjectsTracker(SettingsStore::Instance()) {}

DbgAliveObjectsTracker::DbgAliveObjectsTracker(SettingsStore& store)
{
    std::uint32_t enable = 0;
    store.GetDword(L"Debug", L"EnableAliveObjectsTracking", enable);
    m_enabled = enable != 0;
    if (m_enabled)
        store.GetDword(L"Debug", L"AliveObjectsTrackingFramesToSkip", m_framesToSkip);
}

DbgAliveObjectsTracker::~DbgAliveObjectsTracker()
{
    m_enabled = false;
}

DbgAliveObjectsTracker& DbgAliveObjectsTracker::Instance()
{
    return Singleton<DbgAliveObjectsTracker>::Instance();
}

void DbgAliveObjectsTracker::Register(const void* object, const char* tag)
{
    if (!m_enabled)
        return;
    Record record{{}, tag};
    Platform::CaptureCallStack(m_framesToSkip + 1, record.frames.data(), static_cast<unsigned>(record.frames.size()));
    const RecursiveMutexLock lock(m_lock);
    m_objects.try_emplace(object, record);
}

void DbgAliveObjectsTracker::Unregister(const void* object)
{
    if (!m_enabled)
        return;
    const RecursiveMutexLock lock(m_lock);
    m_objects.erase(object);
}

void DbgAliveObjectsTracker::Report() noexcept
{
    if (!m_enabled)
        return;
    const RecursiveMutexLock lock(m_lock);
    if (m_objects.empty())
        return;
    const std::size_t count = m_objects.size();
    LOG_AT_SOURCE(LogSeverity::Warn, CountLine, L"Alive component objects: " << count);
    for (const auto& entry : m_objects) {
        LOG_AT_SOURCE(LogSeverity::Warn, EntryLine,
                      L"ObjTag='" << entry.second.tag << L"' Ptr=" << Strings::Hex(entry.first) << L" EIPs="
                                  << FrameList(entry.second.frames));
    }
}
