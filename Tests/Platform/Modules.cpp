#include "Platform/Modules.h"

#include "Platform/Testing/Process.h"
#include "Platform/Testing/TemporaryFolder.h"
#include "Tests/Support/Waiting.h"

#include <fstream>
#include <gtest/gtest.h>

using namespace Platform;

namespace
{

std::wstring PathOf(const wchar_t* fileBesideTheProgram)
{
    const std::wstring program = ModulePath(MainModule());
    return program.substr(0, program.rfind(L'\\') + 1) + fileBesideTheProgram;
}

} // namespace

TEST(Modules, AThreadHoldsTheModuleThatItsBodyLiesIn)
{
    const std::wstring path = PathOf(L"PlatformTest.module");
    for (int round = 0; round < 100; ++round) {
        NativeModule module;
        ASSERT_EQ(NativeModule::Load(path, module), S_OK);
        void* const address = module.Find("StartThread");
        ASSERT_EQ(ModulePath(FindModule(address)), path);
        std::atomic<bool> started{false};
        reinterpret_cast<void (*)(std::atomic<bool>*)>(address)(&started);
        ASSERT_TRUE(Eventually([&] { return started.load(); }));
        module = NativeModule();
        ASSERT_TRUE(Eventually([&] { return FindModule(address) == nullptr; }));
    }
}

TEST(Messages, OfAModuleAreInTheUsersLanguageFirst)
{
    MessageModule messages;
    ASSERT_EQ(MessageModule::Load(PathOf(L"TestMessages.dll"), messages), S_OK);
    EXPECT_EQ(messages.Find(0x80040201), L"Text with %1.\r\n") << "in another language than the user's";
    MessageModule none;
    const TemporaryFolder folder;
    std::ofstream(folder.Path() / "file") << "no message\n";
    EXPECT_EQ(MessageModule::Load((folder.Path() / "file").wstring(), none), HResultFromWin32(ERROR_BAD_EXE_FORMAT));
    EXPECT_FALSE(none);

    ASSERT_EQ(MessageModule::Load(PathOf(L"TestLanguages.dll"), messages), S_OK);
    SpeakGerman();
    EXPECT_EQ(messages.Find(0xFFF7), L"The user's.\r\n") << "whatever the thread's language";
}

TEST(Messages, OfTheSystem)
{
    for (const std::uint32_t code : {2U, 5U, 32U, 87U, 112U, 206U, 1332U}) {
        const std::wstring text = FindSystemMessage(code).value_or(L"");
        EXPECT_TRUE(text.size() > 5 && text.ends_with(L".\r\n") && text.find(L'\n') == text.size() - 1) << code;
        EXPECT_EQ(FindSystemMessage(static_cast<std::uint32_t>(HResultFromWin32(code))), text);
    }
    EXPECT_EQ(FindSystemMessage(static_cast<std::uint32_t>(E_OUTOFMEMORY)), FindSystemMessage(14));
    for (const std::uint32_t code : {0x12345U, 0x80071234U, 0x80040299U})
        EXPECT_EQ(FindSystemMessage(code), std::nullopt);
}
