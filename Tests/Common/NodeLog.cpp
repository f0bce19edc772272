#include "Common/Foundation/Strings.h"
#include "Common/Nodes/KelNodeLog.h"
#include "Tests/Support/CodeOf.h"

#include <algorithm>
#include <gmock/gmock.h>

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

TEST(KelNodeForLog, ShowsTheWholeTreeWithoutTheWrapper)
{
    const HiddenAttributes none(L"");
    EXPECT_EQ(KelNodeForLog({}, none), L"KelNode[<null>]");
    const KelNodePtr root = CreateKelNode(L"root", nullptr);
    const KelNodePtr child = CreateKelNode(L"child", nullptr);
    root.AddChild(child);
    child.SetString(L"Text", L"Gr\x00FC\x00DF & \x20AC");
    const std::wstring text = KelNodeForLog(root, none);
    EXPECT_TRUE(text.starts_with(L"KelNode[" + Strings::Hex(root.Get()) + L"]:\r\n")) << testing::PrintToString(text);
    EXPECT_THAT(text, AllOf(HasSubstr(L"Gr\x00FC\x00DF &amp; \x20AC"), Not(HasSubstr(L"nr>"))));
    EXPECT_EQ(text, Strings::TrimRight(text)) << "no blanks or line breaks at the end";
}

TEST(KelNodeForLog, MasksHiddenAttributesAndLeavesTheNodeAlone)
{
    const HiddenAttributes hidden(L" AuthToken : AuthTokenId ;; *:Common,,Other ;");
    const KelNodePtr root = CreateKelNode(L"root", L"Session");
    root.SetString(L"AuthTokenId", L"visible");
    root.SetString(L"Common", L"commonsecret");
    // Two nodes may have the same name.
    for (const wchar_t* name : {L"same", L"same", L"", L""}) {
        const KelNodePtr token = CreateKelNode(name, L"AuthToken");
        token.SetString(L"AuthTokenId", L"tokensecret");
        token.SetString(L"Common", L"commonsecret");
        root.AddChild(token);
    }
    const std::wstring text = KelNodeForLog(root, hidden);
    EXPECT_EQ(std::ranges::count(text, L'*'), 9 * 8) << testing::PrintToString(text);
    EXPECT_THAT(text, HasSubstr(L"visible")) << "listed for another node type";
    EXPECT_THAT(text, Not(HasSubstr(L"secret")));
    EXPECT_TRUE(text.starts_with(L"KelNode[" + Strings::Hex(root.Get()) + L"]")) << "the node's own handle";
    const KelNodePtr last = root.GetChildByIndex(3, true);
    EXPECT_THAT(KelNodeForLog(last, hidden), Not(HasSubstr(L"secret"))) << "not the root of its tree";
    EXPECT_EQ(last.GetString(L"AuthTokenId"), L"tokensecret");
}

TEST(HiddenAttributes, MalformedSettingsAreRefused)
{
    for (const wchar_t* setting : {L"NoColon", L":Attr", L"Type:", L"Type: ", L"A:b:c", L"Ok:a;broken"})
        EXPECT_EQ(CodeOf([&] { HiddenAttributes{setting}; }), E_INVALIDARG) << testing::PrintToString(setting);
    EXPECT_TRUE(HiddenAttributes(L" ; ;").Empty());
}
