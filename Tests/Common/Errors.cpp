#include "Common/ErrorHandling/ErrorText.h"
#include "Common/ErrorHandling/MessageModules.h"
#include "Common/ErrorHandling/Operation.h"
#include "Common/Foundation/ModuleFile.h"
#include "Common/Foundation/Strings.h"
#include "Common/Nodes/KelNodePtr.h"
#include "Platform/Testing/TemporaryFolder.h"
#include "Tests/Support/CodeOf.h"
#include "Tests/Support/HostFakes.h"
#include "Tests/Support/LogCapture.h"
#include "Tests/Support/TestEnvironment.h"

#include <gtest/gtest.h>
#include <regex>

namespace
{

template <class Body>
[[gnu::noinline]] HRX Caught(Body body)
{
    try {
        body();
    } catch (const HRX& e) {
        return e;
    }
    ADD_FAILURE() << "nothing was thrown";
    return HRX(HRES(S_OK));
}

void LeaveErrorInfo(const GUID& origin, const wchar_t* description)
{
    Platform::ErrorInfo::Make(origin, description).LeaveOnThread();
}

std::wstring TakeDescription()
{
    const Platform::ErrorInfo info = Platform::ErrorInfo::TakeFromThread();
    return info ? info.Description() : L"<none>";
}

std::wstring FramesOf(const HRES& error)
{
    return Strings::Hex(error.Frames()[0]) + L"," + Strings::Hex(error.Frames()[1]);
}

constexpr GUID ForeignGuid{1, 2, 3, {4}};

// Calls that are no tail calls: their frames stand.
[[gnu::noinline]] void FailByCheck()
{
    CheckHResult(E_FAIL);
    asm volatile("");
}

[[gnu::noinline]] void FailByThrow()
{
    ThrowHResult(E_FAIL);
}

template <class Function>
bool IsInside(void* address, Function* function)
{
    const auto distance = static_cast<char*>(address) - reinterpret_cast<char*>(function);
    return distance > 0 && distance < 1000;
}

} // namespace

TEST(HResult, FramesBelongToWhoeverChecked)
{
    for (void (*fail)() : {&FailByCheck, &FailByThrow}) {
        const HRX error = Caught(fail);
        EXPECT_TRUE(IsInside(error.Frames()[0], fail));
        EXPECT_TRUE(IsInside(error.Frames()[1], &Caught<void (*)()>));
    }
}

TEST(HResult, WhatIsReadInVainKeepsItsErrorInformationWhereItIsRequired)
{
    const KelNodePtr node = CreateKelNode(nullptr, nullptr);
    const auto leaveReason = [] { LeaveErrorInfo(ForeignGuid, L"the library's reason"); };
    leaveReason();
    EXPECT_EQ(ErrorText(Caught([&] { node.GetString(L"a"); }), WithoutLocation), L"0x80070490 the library's reason");
    std::wstring text;
    const std::function<bool()> tolerant[] = {
        [&] { return node.TryGetString(L"a", text); },
        [&] { return node.GetStringOr(L"a", L"") != L""; },
        [&] { return bool(node.GetChildByName(L"a", false)); },
    };
    for (const auto& read : tolerant) {
        leaveReason();
        EXPECT_FALSE(read());
        EXPECT_EQ(TakeDescription(), L"<none>");
    }
}

TEST(ErrorText, HasCodeDescriptionAndLocation)
{
    const struct
    {
        GUID origin;
        std::wstring published, text, location;
    } cases[] = {
        // An E_FAIL takes up what was published, shows this text and, behind it, this location. "OWN" stands for the
        // text that it has without error information, "HERE" for its own frames.
        {FrameworkErrorGuid, L"0x80004005 It broke [0x1,0x2]", L"0x80004005 It broke", L" [0x1,0x2;HERE]"},
        {FrameworkErrorGuid, L"2147500037 A [b] c", L"0x80004005 A [b] c", L" [HERE]"}, // no bracket at the end
        {FrameworkErrorGuid, L"0x80004005 A [b] [0x1]", L"0x80004005 A [b]", L" [0x1;HERE]"},
        {FrameworkErrorGuid, L"0x80004004 Another code [0x1]", L"0x80004005 OWN", L" [HERE]"},
        {FrameworkErrorGuid, L"0x80004005", L"0x80004005 OWN", L" [HERE]"}, // no blank behind the number
        {ForeignGuid, L"0x80004005 not taken apart [x]", L"0x80004005 0x80004005 not taken apart [x]", L" [HERE]"},
        {ForeignGuid, L"", L"0x80004005 OWN", L" [HERE]"},
    };
    const auto replaced = [](std::wstring text, const std::wstring& part, const wchar_t* sign) {
        const std::size_t at = text.rfind(part);
        return at == std::wstring::npos ? text : text.replace(at, part.size(), sign);
    };
    for (const auto& each : cases) {
        LeaveErrorInfo(each.origin, each.published.c_str());
        const HRX error = Caught([] { CheckHResult(E_FAIL); });
        const std::wstring text = ErrorText(error, WithoutLocation);
        const std::wstring location = ErrorText(error, WithoutCode | WithoutDescription);
        EXPECT_EQ(ErrorText(error), text + location);
        EXPECT_EQ(replaced(text, GetErrorMessage(E_FAIL), L"OWN"), each.text);
        EXPECT_EQ(replaced(location, FramesOf(error), L"HERE"), each.location);
    }
    EXPECT_EQ(ErrorText(ErrorRecord{S_OK, L"trimmed \t\r\n", L""}), L"0x00000000 trimmed");
}

TEST(ErrorText, APublishedErrorKeepsItsTextOnTheWay)
{
    const HRX first = Caught([] { ThrowHResult(E_ABORT); });
    EXPECT_EQ(PublishError(first), E_ABORT);
    const HRX second = Caught([] { CheckHResult(E_ABORT); });
    EXPECT_EQ(ErrorText(second),
              L"0x80004004 " + GetErrorMessage(E_ABORT) + L" [" + FramesOf(first) + L";" + FramesOf(second) + L"]");
    LeaveErrorInfo(ForeignGuid, L"stays");
    EXPECT_EQ(PublishError(HRES(S_FALSE)), S_FALSE);
    EXPECT_EQ(TakeDescription(), L"stays");
}

TEST(ErrorMessages, ComeFromTheSystemOrFromModulesInOrder)
{
    const std::pair<std::uint32_t, const wchar_t*> cases[] = {
        {0x80040E37, L"The table does not exist"},         // of the first module
        {0x80040201, L"Text with %1"},                     // of the second; insertions stay
        {0x80050001, L"Behind the interfaces' own range"}, // of the fallback module, as is the next
        {0x8007FFF7, L"Low bits"},
        {0x80070490, L"Element not found"}, // of the system, without period and line break
        {0xA0FE1234, L"<no description>"},
    };
    const std::wstring path = std::wstring(ModuleFile::DirectoryOf(ModuleFile::Path())) + L"TestMessages.dll";
    TestSettings settings;
    EXPECT_EQ(FindErrorMessage(static_cast<HRESULT>(cases[0].first), MessageModules(settings.store)), cases[0].second)
        << "the host's module is the default";
    settings[L"ErrorHandling/MessageFile"] =
        L"absent.dll,Fenwyke.dll|TestMessages.dll,;" + path + L';' + path + L',' + path + L';' + path;
    settings[L"ErrorHandling/FallbackMessageFile"] = L"Fallback.dll";
    const TemporaryFolder folder; // fallback names are used as they are, not looked for beside the module
    const std::filesystem::path previous = std::filesystem::current_path();
    std::filesystem::current_path(folder.Path());
    std::filesystem::copy_file(std::regex_replace(path, std::wregex(L"\\\\"), L"/"), "Fallback.dll");
    const LogCapture log;
    const MessageModules modules(settings.store);
    std::filesystem::current_path(previous);
    EXPECT_TRUE(modules.Primary().back());
    EXPECT_EQ(log.Count(L"| ERR  |"), 2U);
    EXPECT_EQ(log.Count(L"TestMessages.dll' failed: No more slots"), 1U);
    EXPECT_EQ(log.Count(L"| Loading errormsg module 'absent.dll' failed: 0x80070002 "), 1U);
    for (const auto& [code, text] : cases)
        EXPECT_EQ(FindErrorMessage(static_cast<HRESULT>(code), modules), text);
}

TEST(Operation, LogsPublishesAndReturnsAFailure)
{
    GetErrorMessage(E_ABORT); // the message modules are loaded with the first text, which is logged
    const LogCapture log;
    EXPECT_EQ(Operation(L"CSome::Call", [] {}), S_OK);
    EXPECT_EQ(Operation(L"CSome::Failing", [] { ThrowHResult(E_ABORT); }), E_ABORT);
    const std::wstring nextLine = std::to_wstring(SourceLocation::Current().line + 1);
    EXPECT_EQ(Operation(L"CSome::Next", [] { ThrowHResult(E_ABORT); }), E_ABORT);
    EXPECT_EQ(log.Count(L"| Errors.cpp:" + nextLine, L"CSome::Next"), 3U);
    EXPECT_EQ(log.Count(L"| ERR  |", L"CSome::Failing failed: 0x80004004 "), 1U);
    const std::vector<std::wstring> lines = log.Lines();
    ASSERT_EQ(lines.size(), 8U);
    EXPECT_NE(lines[6].find(L"EXCEPTION at: CSome::Next"), std::wstring::npos) << "the scope ends first";
    EXPECT_EQ(lines[7].find(L';'), std::wstring::npos) << "the first failure's error information is no part of it";
    EXPECT_EQ(L"CSome::Next failed: " + TakeDescription(), log.From(L"CSome::Next failed: "));
    EXPECT_THROW(Boundary(L"x", [] { throw std::runtime_error("another kind"); }), std::runtime_error);
}
