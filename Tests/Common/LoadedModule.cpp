#include "Common/Foundation/Strings.h"
#include "Common/Nodes/KelNodePtr.h"
#include "Interfaces/ComponentPtr.h"
#include "Interfaces/ComponentsModule.h"
#include "Interfaces/ConfigurableComponent.h"
#include "Platform/Modules.h"
#include "Platform/Process.h"
#include "Platform/Testing/TemporaryFolder.h"
#include "Platform/Text.h"

#include <fstream>
#include <gmock/gmock.h>
#include <regex>

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

namespace
{

// Loads the built module from a folder of its own, with its settings beside it, and has a component log a node. Returns
// the log behind its banner.
std::wstring LogWithSettings(const char* settings)
{
    const TemporaryFolder folder;
    const std::filesystem::path file = folder.Path() / "Module.dll";
    const std::wstring path = std::regex_replace(file.wstring(), std::wregex(L"/"), L"\\");
    std::filesystem::copy_file(KESTRINE_MODULE, file);
    std::ofstream(folder.Path() / "Module.ini") << settings;
    Platform::NativeModule module;
    EXPECT_EQ(Platform::NativeModule::Load(path, module), S_OK);
    void* const entry = module.Find("GetComponentsModuleObject");
    {
        ComponentPtr<IComponentsModule> object;
        ComponentPtr<IConfigurableComponent> updater;
        EXPECT_EQ(reinterpret_cast<GetComponentsModuleObjectFunction>(entry)(object.OutVoid()), S_OK);
        object->CreateInstance(KestrineClasses::ReportAccessInfoUpdater, IConfigurableComponent::Iid,
                               updater.OutVoid());
        const KelNodePtr config = CreateKelNode(L"config", nullptr);
        config.SetString(L"Password", L"secret");
        EXPECT_LT(updater->Configure(config.Get()), 0);
    }
    const std::wstring frame = std::wstring(100, L'*') + L"\r\n";
    const std::wstring banner =
        frame + L"*** Module: " + path + L" (Base: " + Strings::Hex(Platform::FindModule(entry)) +
        L")\r\n*** Version: " + Text::FromUtf8(KESTRINE_VERSION_TEXT) +
        L"\r\n*** Module description: Kestrine64\r\n*** Process: " + Platform::ModulePath(Platform::MainModule()) +
        L" (Pid: " + std::to_wstring(Platform::ProcessId()) + L")\r\n*** Command line: " + Platform::CommandLine() +
        L"\r\n" + frame;
    std::ifstream logFile(folder.Path() / "Logs" / "Module.log", std::ios::binary);
    const std::wstring log = Text::FromUtf16Le(std::string(std::istreambuf_iterator<char>(logFile), {}));
    EXPECT_TRUE(log.starts_with(banner)) << testing::PrintToString(log);
    return log.substr(std::min(banner.size(), log.size()));
}

} // namespace

TEST(LoadedModule, TheFileBesideItSaysWhatTheLogHides)
{
    EXPECT_THAT(LogWithSettings("[Logger]\nHiddenNodeTypeAttrs=*:Password\n"),
                AllOf(HasSubstr(L"Config: KelNode["), HasSubstr(L">********<"), Not(HasSubstr(L"secret"))));
}

TEST(LoadedModule, ShowsNoNodeWhileWhatToHideIsMalformed)
{
    const std::wstring log = LogWithSettings("[Logger]\nHiddenNodeTypeAttrs=Password\n");
    EXPECT_THAT(log, AllOf(HasSubstr(L"Config: ... (***EXCEPTION***)\r\n"), Not(HasSubstr(L"secret"))));
    const std::wregex error(L"\\| ERR  \\|[^\r]*\\| Reading setting 'HiddenNodeTypeAttrs' failed: 0x80070057 ");
    EXPECT_TRUE(std::regex_search(log, error)) << testing::PrintToString(log);
}
