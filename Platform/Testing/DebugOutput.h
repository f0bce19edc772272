// What the process hands to OutputDebugStringW, for tests.
#pragma once

#include <string>
#include <vector>

// While it lives, records the texts that any thread of the process gives to OutputDebugStringW. One at a time; natively
// the texts do not reach standard error meanwhile.
class DebugOutputCapture
{
public:
    DebugOutputCapture();
    ~DebugOutputCapture();
    DebugOutputCapture(const DebugOutputCapture&) = delete;
    DebugOutputCapture& operator=(const DebugOutputCapture&) = delete;

    // The texts since construction, in the order of the calls. Any thread.
    std::vector<std::wstring> Texts() const;

private:
    void* m_registration = nullptr;
};
