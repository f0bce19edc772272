#include "Common/ErrorHandling/MessageModules.h"
#include "Tests/Support/TestEnvironment.h"

#include <gtest/gtest.h>

TEST(ErrorMessages, TheHostsMessageModuleBesideThisOneIsTheDefault)
{
    TestSettings settings;
    const MessageModules modules(settings.store);
    const auto message = [&](std::uint32_t code) { return FindErrorMessage(static_cast<HRESULT>(code), modules); };
    EXPECT_EQ(message(0x80040E07), L"A value could not be converted to the type of its column");
    EXPECT_EQ(message(0x80040E37), L"The table does not exist");
    EXPECT_EQ(message(0x8004FE37), L"<no description>");
    settings[L"ErrorHandling/MessageFile"] = L"absent.dll";
    const MessageModules none(settings.store);
    EXPECT_EQ(FindErrorMessage(static_cast<HRESULT>(0x80040E37), none), L"<no description>");
}
