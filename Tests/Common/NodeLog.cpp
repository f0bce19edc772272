#include "Common/ErrorHandling/HResult.h"
#include "Common/Foundation/Strings.h"
#include "Common/Nodes/KelNodeLog.h"

#include <gtest/gtest.h>

namespace
{

std::size_t CountOf(const std::wstring& text, const std::wstring& part)
{
    std::size_t count = 0;
    for (std::size_t at = text.find(part); at != std::wstring::npos; at = text.find(part, at + 1))
        ++count;
    return count;
}

KelNodePtr Token(const wchar_t* name, const wchar_t* secret)
{
    KelNodePtr token = CreateKelNode(name, L"AuthToken");
    token.SetString(L"AuthTokenId", secret);
    token.SetString(L"Common", L"commonsecret");
    return token;
}

} // namespace

TEST(KelNodeForLog, ShowsTheWholeTreeWithoutTheWrapper)
{
    const HiddenAttributes none(L"");
    EXPECT_EQ(KelNodeForLog({}, none), L"KelNode[<null>]");
    const KelNodePtr root = CreateKelNode(L"root", nullptr);
    const KelNodePtr child = CreateKelNode(L"child", nullptr);
    root.AddChild(child);
    child.SetString(L"Text", L"Gr\x00FC\x00DF"
                             L"e & \x20AC");
    const std::wstring text = KelNodeForLog(root, none);
    EXPECT_TRUE(text.starts_with(L"KelNode[" + Strings::Hex(root.Get()) + L"]:\r\n")) << testing::PrintToString(text);
    EXPECT_NE(text.find(L"Gr\x00FC\x00DF"
                        L"e &amp; \x20AC"),
              std::wstring::npos)
        << testing::PrintToString(text);
    EXPECT_EQ(text.find(L"nr>"), std::wstring::npos);
    EXPECT_EQ(text, Strings::TrimRight(text)) << "no blanks or line breaks at the end";
}

TEST(KelNodeForLog, MasksHiddenAttributesAndLeavesTheNodeAlone)
{
    const HiddenAttributes hidden(L" AuthToken : AuthTokenId ;; *:Common,,Other ;");
    const KelNodePtr root = CreateKelNode(L"root", L"Session");
    root.SetString(L"AuthTokenId", L"visible");
    root.SetString(L"Common", L"commonsecret");
    const KelNodePtr token = Token(L"token", L"tokensecret");
    root.AddChild(token);
    const std::wstring text = KelNodeForLog(root, hidden);
    EXPECT_EQ(CountOf(text, L"********"), 3U) << testing::PrintToString(text);
    EXPECT_EQ(CountOf(text, L"visible"), 1U) << "listed for another node type";
    EXPECT_EQ(CountOf(text, L"secret"), 0U);
    EXPECT_EQ(token.GetString(L"AuthTokenId"), L"tokensecret");
    EXPECT_TRUE(text.starts_with(L"KelNode[" + Strings::Hex(root.Get()) + L"]")) << "the node's own handle";
}

TEST(KelNodeForLog, MasksEveryOneOfManyNodesOfTheSameName)
{
    const HiddenAttributes hidden(L"AuthToken:AuthTokenId,Common");
    const KelNodePtr list = CreateKelNode(nullptr, nullptr);
    for (const wchar_t* name : {L"same", L"same", L"", L""})
        list.AddChild(Token(name, L"tokensecret"));
    const std::wstring text = KelNodeForLog(list, hidden);
    EXPECT_EQ(CountOf(text, L"secret"), 0U) << testing::PrintToString(text);
    EXPECT_EQ(CountOf(text, L"********"), 8U);
    // Inside a larger tree, where the logged node is not the root.
    EXPECT_EQ(CountOf(KelNodeForLog(list.GetChildByIndex(3, true), hidden), L"secret"), 0U);
}

TEST(HiddenAttributes, MalformedSettingsAreRefused)
{
    for (const wchar_t* setting : {L"NoColon", L":Attr", L"Type:", L"Type: ", L"A:b:c", L"Ok:a;broken"}) {
        try {
            const HiddenAttributes hidden{std::wstring(setting)};
            ADD_FAILURE() << testing::PrintToString(setting);
        } catch (const HRX& e) {
            EXPECT_EQ(e.Code(), E_INVALIDARG);
        }
    }
    EXPECT_TRUE(HiddenAttributes(L" ; ;").Empty());
}
