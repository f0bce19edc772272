#include "Common/ErrorHandling/ErrorMessages.h"
#include "Common/ErrorHandling/ErrorText.h"
#include "Common/ErrorHandling/Operation.h"
#include "Common/Foundation/Handles.h"
#include "Common/Foundation/ModuleFile.h"
#include "Common/Foundation/Strings.h"
#include "Platform/Testing/MessageModuleFile.h"
#include "Platform/Testing/TemporaryFolder.h"
#include "Tests/Support/LogCapture.h"
#include "Tests/Support/TestEnvironment.h"

#include <gtest/gtest.h>

namespace
{

constexpr HRESULT NotFound = HResultFromWin32(ERROR_NOT_FOUND);
constexpr auto UnknownCode = static_cast<HRESULT>(0xA0FE1234);

template <class Body>
HRX Caught(Body body)
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
    ComponentPtr<ICreateErrorInfo> create;
    ASSERT_EQ(CreateErrorInfo(create.Out()), S_OK);
    create->SetGUID(origin);
    create->SetDescription(const_cast<LPWSTR>(description));
    ComponentPtr<IErrorInfo> info;
    ASSERT_EQ(create->QueryInterface(IID_IErrorInfo, info.OutVoid()), S_OK);
    SetErrorInfo(0, info.Get());
}

std::wstring TakeDescription()
{
    ComponentPtr<IErrorInfo> info;
    if (GetErrorInfo(0, info.Out()) != S_OK)
        return L"<none>";
    BSTR text = nullptr;
    info->GetDescription(&text);
    const UniqueBstr owner(text);
    return std::wstring(text, SysStringLen(text));
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

[[gnu::noinline]] std::array<void*, 2> FramesOfFailureIn(void (*fail)())
{
    try {
        fail();
    } catch (const HRX& e) {
        return e.Frames();
    }
    return {};
}

bool IsInside(void* address, void* function)
{
    const auto distance = static_cast<char*>(address) - static_cast<char*>(function);
    return distance > 0 && distance < 200;
}

} // namespace

TEST(HResult, ChecksThrowForFailuresOnly)
{
    EXPECT_NO_THROW(CheckHResult(S_FALSE));
    EXPECT_EQ(Caught([] { CheckHResult(E_ABORT); }).Code(), E_ABORT);
    EXPECT_EQ(Caught([] { ThrowHResult(S_OK); }).Code(), E_FAIL);
    EXPECT_EQ(Caught([] { ThrowHResult(E_INVALIDARG); }).Code(), E_INVALIDARG);
    EXPECT_EQ(Caught([] { CheckPointer(nullptr); }).Code(), E_POINTER);
    SetLastError(ERROR_ACCESS_DENIED);
    EXPECT_EQ(Caught([] { ThrowLastError(); }).Code(), HResultFromWin32(ERROR_ACCESS_DENIED));
    SetLastError(ERROR_SUCCESS);
    EXPECT_EQ(Caught([] { ThrowLastError(); }).Code(), E_FAIL);
    EXPECT_EQ(HResultFromWin32(static_cast<DWORD>(E_ABORT)), E_ABORT) << "an HRESULT passes unchanged";
}

TEST(HResult, FramesBelongToWhoeverChecked)
{
    for (void (*fail)() : {&FailByCheck, &FailByThrow}) {
        const std::array<void*, 2> frames = FramesOfFailureIn(fail);
        EXPECT_TRUE(IsInside(frames[0], reinterpret_cast<void*>(fail)));
        EXPECT_TRUE(IsInside(frames[1], reinterpret_cast<void*>(&FramesOfFailureIn)));
    }
}

TEST(HResult, AFailureTakesTheThreadsErrorInformation)
{
    LeaveErrorInfo(ForeignGuid, L"from elsewhere");
    EXPECT_EQ(RecordHResult(S_OK).ErrorInfo(), nullptr);
    EXPECT_NE(RecordHResult(E_FAIL).ErrorInfo(), nullptr);
    EXPECT_EQ(TakeDescription(), L"<none>");

    LeaveErrorInfo(ForeignGuid, L"stale");
    DropErrorInfo();
    EXPECT_EQ(RecordHResult(E_FAIL).ErrorInfo(), nullptr);
}

TEST(ErrorText, HasCodeDescriptionAndLocation)
{
    const HRX error = Caught([] { ThrowHResult(NotFound); });
    EXPECT_EQ(ErrorText(error), L"0x80070490 " + GetErrorMessage(NotFound) + L" [" + FramesOf(error) + L"]");
    EXPECT_EQ(ErrorText(error, WithoutLocation), L"0x80070490 " + GetErrorMessage(NotFound));
    EXPECT_EQ(ErrorText(error, WithoutCode | WithoutDescription), L" [" + FramesOf(error) + L"]");
    EXPECT_EQ(ErrorText(ErrorRecord{S_OK, L"trimmed \t\r\n", L""}), L"0x00000000 trimmed");
    const HRX unknown = Caught([] { ThrowHResult(UnknownCode); });
    EXPECT_EQ(ErrorText(unknown), L"0xA0FE1234 <no description> [" + FramesOf(unknown) + L"]");
}

TEST(ErrorText, ForeignErrorInformationGivesTheDescription)
{
    LeaveErrorInfo(ForeignGuid, L"0x80004005 not taken apart [x]");
    const HRX error = Caught([] { CheckHResult(E_FAIL); });
    EXPECT_EQ(ErrorText(error), L"0x80004005 0x80004005 not taken apart [x] [" + FramesOf(error) + L"]");
    LeaveErrorInfo(ForeignGuid, L"");
    EXPECT_EQ(ErrorText(Caught([] { CheckHResult(E_FAIL); }), WithoutLocation),
              L"0x80004005 " + GetErrorMessage(E_FAIL));
}

TEST(ErrorText, ErrorInformationOfTheFrameworkIsTakenApartAndExtended)
{
    const auto text = [](const wchar_t* published) {
        LeaveErrorInfo(FrameworkErrorGuid, published);
        const HRX error = Caught([] { CheckHResult(E_FAIL); });
        const std::wstring frames = FramesOf(error);
        std::wstring result = ErrorText(error);
        result.replace(result.rfind(frames), frames.size(), L"HERE");
        return result;
    };
    EXPECT_EQ(text(L"0x80004005 It broke [0x1,0x2]"), L"0x80004005 It broke [0x1,0x2;HERE]");
    EXPECT_EQ(text(L"2147500037 A [b] c"), L"0x80004005 A [b] c [HERE]") << "decimal; no bracket at the end";
    EXPECT_EQ(text(L"0x80004005 A [b] [0x1]"), L"0x80004005 A [b] [0x1;HERE]") << "the last bracket counts";
    const std::wstring own = L"0x80004005 " + GetErrorMessage(E_FAIL) + L" [HERE]";
    EXPECT_EQ(text(L"0x80004004 Another code [0x1]"), own);
    EXPECT_EQ(text(L"no number"), own);
    EXPECT_EQ(text(L"0x80004005"), own) << "no blank behind the number";
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

TEST(ErrorMessages, ComeFromTheSystemWithoutPeriodAndLineBreak)
{
    const std::wstring missing = GetErrorMessage(HResultFromWin32(ERROR_NOT_FOUND));
    EXPECT_EQ(missing, L"Element not found") << "through the low 16 bits or under the whole code";
    EXPECT_EQ(GetErrorMessage(UnknownCode), L"<no description>");
    EXPECT_EQ(GetErrorMessage(static_cast<HRESULT>(0x8007FFF7)), L"<no description>");
}

TEST(ErrorMessages, InterfaceSpecificCodesAreFoundInThePrimaryModulesInOrder)
{
    const TemporaryFolder folder;
    const auto path = [&](const char* name) { return (folder.Path() / name).wstring(); };
    WriteMessageModule(folder.Path() / "one.dll",
                       {{0x80040200, 0, L"One's text.\r\n"}, {0x80070002, 0, L"never asked"}});
    WriteMessageModule(folder.Path() / "two.dll", {{0x80040200, 0, L"hidden"}, {0x80040201, 0, L"Two's %1 text.\r\n"}});
    WriteMessageModule(folder.Path() / "fallback.dll",
                       {{0x80050000, 0, L"Fallback text\r\n"}, {0xFFF7, 0, L"Low bits"}});
    TestSettings settings;
    settings[L"ErrorHandling/MessageFile"] = path("one.dll") + L"|" + path("two.dll");
    settings[L"ErrorHandling/FallbackMessageFile"] = path("fallback.dll");
    const MessageModules modules(settings.store);
    const auto message = [&](std::uint32_t code) { return FindErrorMessage(static_cast<HRESULT>(code), modules); };
    EXPECT_EQ(message(0x80040200), L"One's text");
    EXPECT_EQ(message(0x80040201), L"Two's %1 text") << "insertions stay";
    EXPECT_EQ(message(0x80050000), L"Fallback text") << "behind the interface-specific range";
    EXPECT_EQ(message(0x8007FFF7), L"Low bits");
    EXPECT_NE(message(0x80070002), L"never asked");
}

TEST(MessageModules, SixthAndMissingModulesAreLoggedAndTheOthersLoaded)
{
    const TemporaryFolder folder;
    std::wstring names;
    for (int i = 0; i < 6; ++i) {
        const std::string name = "m" + std::to_string(i) + ".dll";
        WriteMessageModule(folder.Path() / name, {{0x80040300, 0, L"text"}});
        names += (folder.Path() / name).wstring() + (i % 2 ? L";" : L",,");
    }
    const LogCapture log;
    TestSettings settings;
    settings[L"ErrorHandling/MessageFile"] = L"absent.dll," + names;
    const MessageModules modules(settings.store);
    EXPECT_NE(modules.Primary().back(), nullptr);
    EXPECT_EQ(log.Count(L"ERR", L"No more slots"), 1U);
    EXPECT_EQ(log.Count(L"m5.dll' failed: No more slots"), 1U);
    EXPECT_TRUE(
        log.From(L"Loading errormsg module").starts_with(L"Loading errormsg module 'absent.dll' failed: 0x80070002 "))
        << testing::PrintToString(log.Lines());
    for (const UniqueModule& module : modules.Fallback())
        EXPECT_EQ(module, nullptr);
}

TEST(Operation, LogsPublishesAndReturnsAFailure)
{
    const LogCapture log;
    EXPECT_EQ(Operation(L"CSome::Call", [] {}), S_OK);
    EXPECT_EQ(Operation(L"CSome::Failing", [] { ThrowHResult(E_ABORT); }), E_ABORT);
    EXPECT_EQ(Operation(L"CSome::Next", [] { ThrowHResult(E_ABORT); }), E_ABORT);
    const std::wstring line = log.From(L"CSome::Next failed: ");
    EXPECT_EQ(line.find(L';'), std::wstring::npos) << "the first failure's error information is no part of it";
    EXPECT_EQ(log.Count(L"| ERR  |", L"CSome::Failing failed: 0x80004004 "), 1U);
    EXPECT_EQ(log.Count(L"EXCEPTION at: CSome::Failing"), 1U);
    EXPECT_EQ(L"CSome::Next failed: " + TakeDescription(), line);
    const std::vector<std::wstring> lines = log.Lines();
    const auto position = [&](const wchar_t* text) {
        return std::find_if(lines.begin(), lines.end(),
                            [&](const std::wstring& each) { return each.find(text) != std::wstring::npos; });
    };
    EXPECT_LT(position(L"EXCEPTION at: "), position(L" failed: 0x80004004 ")) << "the scope ends first";
    EXPECT_THROW(Boundary(L"x", [] { throw std::runtime_error("another kind"); }), std::runtime_error);
}
