// What the process hands to the debugger, for tests.
#pragma once

#include <string>

// While it lives, records the texts that any thread of the process hands to Platform::WriteDebugOutput. One at a time;
// natively the texts do not reach standard error meanwhile.
class DebugOutputCapture
{
public:
    DebugOutputCapture();
    ~DebugOutputCapture();
    DebugOutputCapture(const DebugOutputCapture&) = delete;
    DebugOutputCapture& operator=(const DebugOutputCapture&) = delete;

    // The texts since construction, in the order of the calls. Any thread.
    std::wstring Text() const;

private:
    void* m_registration = nullptr;
};
