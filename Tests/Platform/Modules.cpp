#include "Platform/Modules.h"

#include "Platform/Testing/TemporaryFolder.h"
#include "Tests/Support/Waiting.h"

#include <fstream>
#include <gtest/gtest.h>

using namespace Platform;

namespace
{

std::wstring TestModulePath()
{
    const std::wstring program = ModulePath(MainModule());
    return program.substr(0, program.rfind(L'\\')) + L"\\PlatformTest.module";
}

} // namespace

TEST(Modules, MainProgramIsFoundByAddress)
{
    static const char anchor = 0;
    const int onStack = 0;
    EXPECT_EQ(FindModule(&anchor), MainModule());
    EXPECT_EQ(FindModule(&onStack), nullptr);
    EXPECT_NE(ModulePath(MainModule()).find(L"\\PlatformTests"), std::wstring::npos);
    EXPECT_EQ(ModulePath(&onStack), L"");
}

TEST(Modules, LastReferenceUnloads)
{
    const std::wstring path = TestModulePath();
    for (int round = 0; round < 2; ++round) {
        NativeModule module;
        NativeModule again;
        ASSERT_EQ(NativeModule::Load(path, module), S_OK);
        ASSERT_EQ(NativeModule::Load(path, again), S_OK);
        void* const address = module.Find("CountUnloadIn");
        ASSERT_TRUE(address);
        EXPECT_EQ(again.Find("CountUnloadIn"), address);
        EXPECT_EQ(module.Find("NoSuchExport"), nullptr);
        EXPECT_EQ(ModulePath(FindModule(address)), path);
        int unloads = 0;
        reinterpret_cast<void (*)(int*)>(address)(&unloads);
        again = NativeModule();
        EXPECT_EQ(unloads, 0);
        module = NativeModule();
        EXPECT_EQ(unloads, 1);
        EXPECT_EQ(FindModule(address), nullptr);
    }
}

TEST(Modules, AThreadHoldsTheModuleThatItsBodyLiesIn)
{
    for (int round = 0; round < 100; ++round) {
        NativeModule module;
        ASSERT_EQ(NativeModule::Load(TestModulePath(), module), S_OK);
        void* const address = module.Find("StartThread");
        ASSERT_TRUE(address);
        std::atomic<bool> started{false};
        reinterpret_cast<void (*)(std::atomic<bool>*)>(address)(&started);
        ASSERT_TRUE(Eventually([&] { return started.load(); }));
        module = NativeModule();
        ASSERT_TRUE(Eventually([&] { return FindModule(address) == nullptr; }));
    }
}
