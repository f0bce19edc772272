// Stands between the module and what it calls: the functions here are found ahead of those of the same name in the
// libraries, and pass on what is not to fail.
#include "Tests/Simulation/Faults.h"

#include "Platform/Accounts.h"
#include "Platform/Files.h"
#include "Platform/Modules.h"
#include "Platform/Network.h"
#include "Platform/Process.h"
#include "Platform/Settings.h"
#include "Tests/Support/OperatorNew.h"

#include <cstring>
#include <dlfcn.h>
#include <functional>

using namespace Simulation;

namespace
{

// The function that stands behind the one given, which may be a member function.
template <class Function>
Function Next(Function function)
{
    void* address = nullptr;
    std::memcpy(&address, &function, sizeof(address));
    Dl_info info{};
    dladdr(address, &info);
    address = dlsym(RTLD_NEXT, info.dli_sname);
    std::memcpy(&function, &address, sizeof(address));
    return function;
}

template <auto function, class... Arguments>
auto Call(const char* name, Arguments&&... arguments)
{
    using Result = std::invoke_result_t<decltype(function), Arguments...>;
    static const auto next = Next(function);
    if (!StrikesModule(name))
        return std::invoke(next, std::forward<Arguments>(arguments)...);
    if constexpr (std::is_same_v<Result, HRESULT>)
        return Injected;
    else
        return Result();
}

// The node library's functions take six words at most, all of them in registers.
using Word = std::uintptr_t;
using NodeFunction = HRESULT (*)(Word, Word, Word, Word, Word, Word);

NodeFunction Next(const char* name)
{
    return reinterpret_cast<NodeFunction>(dlsym(RTLD_NEXT, name));
}

} // namespace

bool AllocationFails() noexcept
{
    return StrikesModule("operator new");
}

#define NODE_FUNCTION(name)                                                                                            \
    extern "C" HRESULT name(Word a, Word b, Word c, Word d, Word e, Word f)                                            \
    {                                                                                                                  \
        static const NodeFunction next = Next(#name);                                                                  \
        return StrikesModule(#name) ? Injected : next(a, b, c, d, e, f);                                               \
    }

// What it closes is closed, since nobody would do it again.
#define CLOSING_NODE_FUNCTION(name)                                                                                    \
    extern "C" HRESULT name(Word a)                                                                                    \
    {                                                                                                                  \
        static const NodeFunction next = Next(#name);                                                                  \
        const HRESULT hr = next(a, 0, 0, 0, 0, 0);                                                                     \
        return StrikesModule(#name) ? Injected : hr;                                                                   \
    }

NODE_FUNCTION(HxGetNamedInstance)
NODE_FUNCTION(KelnAddChild)
NODE_FUNCTION(KelnCloneNode)
NODE_FUNCTION(KelnCreateNode)
NODE_FUNCTION(KelnDuplicateNodeHandle)
NODE_FUNCTION(KelnFinalizeSerialization)
NODE_FUNCTION(KelnGetAttribute)
NODE_FUNCTION(KelnGetAttributeNames)
NODE_FUNCTION(KelnGetChildByIndex)
NODE_FUNCTION(KelnGetChildByName)
NODE_FUNCTION(KelnGetChildCount)
NODE_FUNCTION(KelnGetNodeName)
NODE_FUNCTION(KelnGetNodeType)
NODE_FUNCTION(KelnGetParent)
NODE_FUNCTION(KelnRemoveChild)
NODE_FUNCTION(KelnSerializeNodes)
NODE_FUNCTION(KelnSetAttribute)
NODE_FUNCTION(KelnStartSerialization)
CLOSING_NODE_FUNCTION(KelnCloseNodeHandle)
CLOSING_NODE_FUNCTION(KelnCloseSerializationContext)

#define CALL(function, ...) Call<&function>(#function, __VA_ARGS__)

namespace Platform
{

std::optional<std::wstring> EnvironmentVariable(const std::wstring& name)
{
    return CALL(Platform::EnvironmentVariable, name);
}

std::wstring IniValue(const std::wstring& file, const std::wstring& section, const std::wstring& key)
{
    return CALL(Platform::IniValue, file, section, key);
}

std::map<std::wstring, std::wstring> RegistryTexts(RegistryRoot root, const std::wstring& key)
{
    return CALL(Platform::RegistryTexts, root, key);
}

HRESULT AppendFile::Open(const std::wstring& path, AppendFile& file)
{
    return CALL(Platform::AppendFile::Open, path, file);
}

HRESULT AppendFile::Duplicate(AppendFile& duplicate) const
{
    return CALL(Platform::AppendFile::Duplicate, this, duplicate);
}

HRESULT AppendFile::Write(std::string_view bytes) const
{
    return CALL(Platform::AppendFile::Write, this, bytes);
}

HRESULT AppendFile::GetInfo(FileInfo& info) const
{
    return CALL(Platform::AppendFile::GetInfo, this, info);
}

HRESULT CreateFolder(const std::wstring& path)
{
    return CALL(Platform::CreateFolder, path);
}

HRESULT JoinPath(const std::wstring& directory, const std::wstring& relative, std::wstring& path)
{
    return CALL(Platform::JoinPath, directory, relative, path);
}

std::optional<std::wstring> FindSystemMessage(std::uint32_t id)
{
    return CALL(Platform::FindSystemMessage, id);
}

bool ParseSid(const std::wstring& text, Sid& sid)
{
    return CALL(Platform::ParseSid, text, sid);
}

HRESULT FormatSid(const Sid& sid, std::wstring& text)
{
    return CALL(Platform::FormatSid, sid, text);
}

HRESULT AreOfSameDomain(const Sid& a, const Sid& b, bool& same)
{
    return CALL(Platform::AreOfSameDomain, a, b, same);
}

HRESULT LookUpAccountByName(const std::wstring& system, const std::wstring& name, AccountInfo& account)
{
    return CALL(Platform::LookUpAccountByName, system, name, account);
}

HRESULT LookUpAccountBySid(const std::wstring& system, const Sid& sid, AccountInfo& account)
{
    return CALL(Platform::LookUpAccountBySid, system, sid, account);
}

HRESULT MakeClientContext(const Sid& sid, bool resolveGroups, ClientContext& context)
{
    return CALL(Platform::MakeClientContext, sid, resolveGroups, context);
}

HRESULT GetLocalComputerName(std::wstring& name)
{
    return CALL(Platform::GetLocalComputerName, name);
}

HRESULT ResolveHost(const std::wstring& host, std::vector<NetworkAddress>& addresses)
{
    return CALL(Platform::ResolveHost, host, addresses);
}

NetworkSession::NetworkSession() : m_result(StrikesModule("Platform::NetworkSession") ? Injected : S_OK) {}

HRESULT ThreadToken::Open()
{
    return CALL(Platform::ThreadToken::Open, this);
}

void WriteDebugOutput(const wchar_t* text) noexcept
{
    static const auto next = Next(&Platform::WriteDebugOutput);
    Shows();
    next(text);
}

} // namespace Platform
