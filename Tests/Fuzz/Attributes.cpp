#include "Common/Nodes/KelNodeLog.h"
#include "Common/Nodes/NodeSerializer.h"
#include "Tests/Fuzz/Fuzz.h"

#include <vector>

// Type (two bytes) and value of an attribute, read as every type.
void Try(std::string_view input)
{
    if (input.size() < 2)
        return;
    const auto type =
        static_cast<std::uint16_t>(static_cast<unsigned char>(input[0]) << 8 | static_cast<unsigned char>(input[1]));
    const std::string_view bytes = input.substr(2);
    const KelNodePtr node = CreateKelNode(L"fuzz", L"type");
    if (KelnSetAttribute(node.Get(), L"a", type, bytes.data(), static_cast<std::uint32_t>(bytes.size())) < 0)
        return;
    for (const std::uint16_t requested : {KelnEmpty, KelnText8, KelnText, KelnInt32, KelnUInt32, KelnInt64, KelnBool,
                                          KelnBinary, KelnListFlag, KelnTextList}) {
        std::uint32_t needed = 0;
        std::uint16_t stored = 0;
        if (KelnGetAttribute(node.Get(), L"a", &requested, nullptr, &needed, &stored) < 0)
            continue;
        std::vector<char> buffer(needed + 1);
        std::uint32_t size = needed;
        const HRESULT hr = KelnGetAttribute(node.Get(), L"a", &requested, buffer.data(), &size, nullptr);
        Require(hr < 0 || size == needed, "a value has the size that was announced");
        if (hr >= 0)
            Require(node.Clone(0).HasAttribute(L"a"), "a copy has the attribute");
    }
    KelNodeForLog(node, HiddenAttributes(L""));
}
