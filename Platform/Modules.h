// Loaded modules, message modules and message texts, the system's version.
#pragma once

#include "Platform/Types.h"

#include <memory>
#include <optional>
#include <string>

namespace Platform
{

// The load address of the module that `address` lies in; null when there is none. Any thread.
const void* FindModule(const void* address);

// The load address of the process's main program.
const void* MainModule();

// The full path of the module at a load address, with backslashes as separators; empty when the system does not know
// it. Any thread.
std::wstring ModulePath(const void* module);

// Keeps a module loaded whose exports are called by name.
class NativeModule
{
public:
    NativeModule() = default;

    // Loads the module at `path`, or adds a reference where it is loaded already. A failure leaves `module` empty.
    static HRESULT Load(const std::wstring& path, NativeModule& module);

    // The export's address; null when the module has none of that name.
    void* Find(const char* name) const;

    // Gives the reference up without dropping it: the module stays loaded.
    void KeepLoaded() { static_cast<void>(m_handle.release()); }

    explicit operator bool() const { return m_handle != nullptr; }

private:
    struct Unload
    {
        void operator()(void* handle) const;
    };
    std::unique_ptr<void, Unload> m_handle;
};

// Message texts by identifier, loaded as data. Reading is safe on any thread.
class MessageModule
{
public:
    MessageModule() = default;

    // Loads the file at `path`. A failure leaves `module` empty.
    static HRESULT Load(const std::wstring& path, MessageModule& module);

    // The message in the user's language, else in the one that the system chooses. Insertion sequences stay as they
    // are.
    std::optional<std::wstring> Find(std::uint32_t id) const;

    explicit operator bool() const { return m_content != nullptr; }

private:
    std::shared_ptr<void> m_content;
};

// The system's own message for an error code or HRESULT; the language is chosen as above. Any thread.
std::optional<std::wstring> FindSystemMessage(std::uint32_t id);

// Whether the system is Windows of at least this version; other systems answer as a recent one.
bool IsSystemVersionOrLater(unsigned major, unsigned minor);

} // namespace Platform
