#include "Interfaces/ComponentPtr.h"
#include "Interfaces/ComponentsModule.h"
#include "Interfaces/ConfigurableComponent.h"
#include "Platform/Modules.h"
#include "Platform/Testing/TemporaryFolder.h"
#include "Tests/Support/OperatorNew.h"
#include "Tests/Support/TestEnvironment.h"

#include <gtest/gtest.h>

namespace
{

// Which allocations of the process fail: the n-th from now on, alone or with all later ones.
std::atomic<bool> armed{false};
std::atomic<std::ptrdiff_t> left{0}; // how many still succeed
bool forGood = false;

} // namespace

bool AllocationFails() noexcept
{
    if (!armed)
        return false;
    const std::ptrdiff_t before = left--;
    return before == 0 || (before < 0 && forGood);
}

// Whatever memory its load lacks, the process survives it. What follows the load is the sweep's.
TEST(OutOfMemory, TheModuleLoadsAndWorksWithoutWhatItCouldNotMake)
{
    const TemporaryFolder folder;
    const ScopedVariable logs(L"GS_Logger_Path", folder.Path().wstring());
    const ScopedVariable openEachTime(L"GS_Logger_KeepOpenInterval", L"0");
    const std::wstring path = std::filesystem::path(KESTRINE_MODULE).wstring();
    const auto load = [&] {
        Platform::NativeModule module;
        try {
            armed = true;
            Platform::NativeModule::Load(path, module);
        } catch (const std::bad_alloc&) {
            EXPECT_FALSE(module);
        }
        armed = false;
        if (!module) {
            EXPECT_LT(left, 0);
            return;
        }
        const auto entry = reinterpret_cast<GetComponentsModuleObjectFunction>(
            const_cast<void*>(module.Find("GetComponentsModuleObject")));
        ComponentPtr<IComponentsModule> object;
        ComponentPtr<IConfigurableComponent> component;
        ASSERT_EQ(entry(object.OutVoid()), S_OK);
        EXPECT_EQ(object->ReportAliveObjects(), S_OK);
        EXPECT_EQ(
            object->CreateInstance(KestrineClasses::SSRSRolesUpdater, IConfigurableComponent::Iid, component.OutVoid()),
            S_OK);
        EXPECT_EQ(component->Configure(nullptr), E_POINTER);
        // A log file that could not be opened for a line during the load is not tried again at once.
        EXPECT_TRUE(std::filesystem::remove(folder.Path() / "libKestrine.log") || forGood);
    };
    for (const bool allLater : {false, true}) {
        forGood = allLater;
        bool struck = true;
        for (std::ptrdiff_t n = 0; struck; ++n) {
            left = n;
            load();
            struck = left < 0;
        }
    }
}
