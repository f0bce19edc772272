// While the library is loaded, the account look-ups of advapi32.dll are those of this library, for every module of the
// process.
#include "Platform/Testing/Windows/StandIn.h"

#include <array>
#include <cstring>

namespace
{

// Lets a function of advapi32.dll, which is loaded because this library imports from it, begin with a jump to `target`.
// Not safe while another thread enters the function.
class Redirection
{
public:
    Redirection(const char* name, const void* target)
        : m_entry(reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"advapi32.dll"), name)))
    {
        Code jump{0x48, 0xB8, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xE0}; // mov rax, target; jmp rax
        std::memcpy(&jump[2], &target, sizeof(target));
        std::memcpy(m_original.data(), m_entry, m_original.size());
        Write(jump);
    }
    ~Redirection() { Write(m_original); }
    Redirection(const Redirection&) = delete;
    Redirection& operator=(const Redirection&) = delete;

private:
    using Code = std::array<BYTE, 12>;

    void Write(const Code& code) const
    {
        DWORD protection = 0;
        if (!VirtualProtect(m_entry, code.size(), PAGE_EXECUTE_READWRITE, &protection))
            return;
        std::memcpy(m_entry, code.data(), code.size());
        VirtualProtect(m_entry, code.size(), protection, &protection);
        FlushInstructionCache(GetCurrentProcess(), m_entry, code.size());
    }

    void* m_entry;
    Code m_original;
};

const Redirection byName("LookupAccountNameW", reinterpret_cast<const void*>(&StandInLookupAccountName));
const Redirection bySid("LookupAccountSidW", reinterpret_cast<const void*>(&StandInLookupAccountSid));

} // namespace
