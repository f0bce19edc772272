#include "Common/Foundation/Strings.h"
#include "Common/Nodes/KelNodePtr.h"
#include "Interfaces/ComponentPtr.h"
#include "Interfaces/ComponentsModule.h"
#include "Interfaces/ConfigurableComponent.h"
#include "Platform/Modules.h"
#include "Platform/Process.h"
#include "Platform/Testing/TemporaryFolder.h"
#include "Platform/Text.h"

#include <algorithm>
#include <fstream>
#include <gtest/gtest.h>
#include <regex>

namespace
{

// The built module, alone in a folder with its settings; all that a test sees of it is its log.
class LoadedModule : public testing::Test
{
protected:
    // The log behind its banner, after a component was configured with a node that has a secret.
    std::wstring LogWithSettings(const char* settings) const
    {
        std::filesystem::copy_file(KESTRINE_MODULE, m_folder.Path() / "Module.dll");
        std::ofstream(m_folder.Path() / "Module.ini") << settings;
        Platform::NativeModule module;
        EXPECT_EQ(Platform::NativeModule::Load(m_path, module), S_OK);
        const std::wstring banner = Banner(module);
        ConfigureWithSecret(module);
        std::ifstream file(m_folder.Path() / "Logs" / "Module.log", std::ios::binary);
        const std::wstring log = Text::FromUtf16Le(std::string(std::istreambuf_iterator<char>(file), {}));
        EXPECT_EQ(log.substr(0, banner.size()), banner);
        return log.substr(std::min(banner.size(), log.size()));
    }

    static std::size_t Count(const std::wstring& text, const wchar_t* part)
    {
        std::size_t count = 0;
        for (std::size_t at = text.find(part); at != std::wstring::npos; at = text.find(part, at + 1))
            ++count;
        return count;
    }

private:
    static void* Export(const Platform::NativeModule& module) { return module.Find("GetComponentsModuleObject"); }

    std::wstring Banner(const Platform::NativeModule& module) const
    {
        const std::wstring frame = std::wstring(100, L'*') + L"\r\n";
        return frame + L"*** Module: " + m_path + L" (Base: " + Strings::Hex(Platform::FindModule(Export(module))) +
               L")\r\n*** Version: " + Text::FromUtf8(KESTRINE_VERSION) +
               L"\r\n*** Module description: Kestrine64\r\n*** Process: " +
               Platform::ModulePath(Platform::MainModule()) + L" (Pid: " + std::to_wstring(Platform::ProcessId()) +
               L")\r\n*** Command line: " + Platform::CommandLine() + L"\r\n" + frame;
    }

    static void ConfigureWithSecret(const Platform::NativeModule& module)
    {
        const auto entry = reinterpret_cast<GetComponentsModuleObjectFunction>(Export(module));
        ComponentPtr<IComponentsModule> object;
        ComponentPtr<IConfigurableComponent> component;
        ASSERT_EQ(entry(object.OutVoid()), S_OK);
        ASSERT_EQ(object->CreateInstance(KestrineClasses::ReportAccessInfoUpdater, IConfigurableComponent::Iid,
                                         component.OutVoid()),
                  S_OK);
        const KelNodePtr config = CreateKelNode(L"config", nullptr);
        config.SetString(L"Password", L"secret");
        EXPECT_LT(component->Configure(config.Get()), 0);
    }

    const TemporaryFolder m_folder;
    const std::wstring m_path = [this] {
        std::wstring path = (m_folder.Path() / "Module.dll").wstring();
        std::replace(path.begin(), path.end(), L'/', L'\\');
        return path;
    }();
};

} // namespace

TEST_F(LoadedModule, TheFileBesideItSaysWhatTheLogHides)
{
    const std::wstring log = LogWithSettings("[Logger]\nHiddenNodeTypeAttrs=*:Password\n");
    EXPECT_EQ(Count(log, L">********<"), 1U) << testing::PrintToString(log);
    EXPECT_EQ(Count(log, L"secret"), 0U) << testing::PrintToString(log);
}

TEST_F(LoadedModule, WhatToHideIsMalformedSoNoNodeIsShown)
{
    const std::wstring log = LogWithSettings("[Logger]\nHiddenNodeTypeAttrs=Password\n");
    const std::wregex error(L"\\| ERR  \\|[^\r]*\\| Reading setting 'HiddenNodeTypeAttrs' failed: 0x80070057 ");
    EXPECT_TRUE(std::regex_search(log, error)) << testing::PrintToString(log);
    EXPECT_EQ(Count(log, L"Config: ... (***EXCEPTION***)\r\n"), 1U) << testing::PrintToString(log);
}
