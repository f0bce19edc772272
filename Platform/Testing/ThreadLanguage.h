// A thread that speaks another language than its user, for tests.
#pragma once

#ifdef _WIN32
#include <windows.h>
#endif

// While it lives, the calling thread's language is German. Does nothing where texts have one language only.
class [[maybe_unused]] GermanThread
{
public:
#ifdef _WIN32
    GermanThread() : m_previous(GetThreadLocale())
    {
        SetThreadLocale(MAKELCID(0x407, SORT_DEFAULT));
    }
    ~GermanThread()
    {
        SetThreadLocale(m_previous);
    }
#else
    GermanThread() = default;
#endif
    GermanThread(const GermanThread&) = delete;
    GermanThread& operator=(const GermanThread&) = delete;

#ifdef _WIN32
private:
    const LCID m_previous;
#endif
};
