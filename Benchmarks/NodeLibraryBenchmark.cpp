// The node library's calls, one by one and over lists of access rights items.
#include "Host/Support/NodeHandle.h"
#include "Platform/Text.h"

#include <algorithm>
#include <benchmark/benchmark.h>
#include <random>
#include <string>
#include <vector>

namespace
{

NodeHandle Create(const wchar_t* name, const wchar_t* type)
{
    NodeHandle node;
    KelnCreateNode(name, type, node.Out());
    return node;
}

void SetText(const NodeHandle& node, const wchar_t* name, uint16_t type, std::wstring_view text)
{
    std::string bytes;
    Text::AppendUtf16Le(text, bytes);
    bytes.append(2, '\0');
    KelnSetAttribute(node.Get(), name, type, bytes.data(), static_cast<uint32_t>(bytes.size()));
}

NodeHandle CreateItem(int64_t number, const wchar_t* name)
{
    static const std::wstring guid = L"{0E1B6F1D-2C43-4B8A-917E-D43A60C81F92}";
    static const std::wstring guids = guid + L'\0' + guid + L'\0' + guid;
    NodeHandle item = Create(name, L"AccessRightsItem");
    SetText(item, L"LogonName", KelnText, L"EXAMPLE\\user" + std::to_wstring(number));
    SetText(item, L"ContainerId", KelnTextList, guids);
    return item;
}

NodeHandle CreateList(int64_t count, bool named)
{
    NodeHandle list = Create(nullptr, nullptr);
    for (int64_t i = 0; i < count; ++i) {
        const NodeHandle item = CreateItem(i, named ? std::to_wstring(i).c_str() : nullptr);
        KelnAddChild(list.Get(), item.Get());
    }
    return list;
}

std::vector<NodeHandle> Children(const NodeHandle& list)
{
    uint64_t count = 0;
    KelnGetChildCount(list.Get(), &count);
    std::vector<NodeHandle> children(count);
    for (uint64_t i = 0; i < count; ++i)
        KelnGetChildByIndex(list.Get(), i, children[i].Out());
    return children;
}

void CreateItems(benchmark::State& state)
{
    for (auto _ : state)
        benchmark::DoNotOptimize(CreateItem(12345, nullptr).Get());
}
BENCHMARK(CreateItems);

void GetTextAttribute(benchmark::State& state)
{
    const NodeHandle item = CreateItem(12345, nullptr);
    const uint16_t type = KelnText;
    char buffer[256];
    for (auto _ : state) {
        uint32_t size = sizeof buffer;
        benchmark::DoNotOptimize(KelnGetAttribute(item.Get(), L"LogonName", &type, buffer, &size, nullptr));
    }
}
BENCHMARK(GetTextAttribute)->ThreadRange(1, 2);

void AskForAbsentAttribute(benchmark::State& state)
{
    const NodeHandle item = CreateItem(12345, nullptr);
    for (auto _ : state)
        benchmark::DoNotOptimize(KelnGetAttribute(item.Get(), L"IsLocalOnly", nullptr, nullptr, nullptr, nullptr));
}
BENCHMARK(AskForAbsentAttribute);

void CloneList(benchmark::State& state)
{
    const NodeHandle list = CreateList(state.range(0), false);
    for (auto _ : state) {
        NodeHandle clone;
        KelnCloneNode(list.Get(), KelnWholeTree, 0, clone.Out());
    }
    state.SetComplexityN(state.range(0));
}
BENCHMARK(CloneList)
    ->RangeMultiplier(10)
    ->Range(1000, 100000)
    ->Unit(benchmark::kMillisecond)
    ->Complexity(benchmark::oNLogN);

void ChildrenByIndex(benchmark::State& state)
{
    const NodeHandle list = CreateList(state.range(0), false);
    for (auto _ : state) {
        for (int64_t i = 0; i < state.range(0); ++i) {
            NodeHandle child;
            KelnGetChildByIndex(list.Get(), static_cast<uint64_t>(i), child.Out());
        }
    }
    state.SetComplexityN(state.range(0));
}
BENCHMARK(ChildrenByIndex)
    ->RangeMultiplier(10)
    ->Range(1000, 100000)
    ->Unit(benchmark::kMillisecond)
    ->Complexity(benchmark::oNLogN);

void ChildrenByName(benchmark::State& state)
{
    const NodeHandle list = CreateList(state.range(0), true);
    std::vector<std::wstring> names;
    for (int64_t i = 0; i < state.range(0); ++i)
        names.push_back(std::to_wstring(i));
    for (auto _ : state) {
        for (const std::wstring& name : names) {
            NodeHandle child;
            KelnGetChildByName(list.Get(), name.c_str(), child.Out());
        }
    }
    state.SetComplexityN(state.range(0));
}
BENCHMARK(ChildrenByName)
    ->RangeMultiplier(10)
    ->Range(1000, 100000)
    ->Unit(benchmark::kMillisecond)
    ->Complexity(benchmark::oNLogN);

// Every other child is removed while the list is walked by index, then the rest from the front.
void RemoveWhileWalking(benchmark::State& state)
{
    for (auto _ : state) {
        state.PauseTiming();
        const NodeHandle list = CreateList(state.range(0), false);
        state.ResumeTiming();
        NodeHandle child;
        for (uint64_t i = 0; SUCCEEDED(KelnGetChildByIndex(list.Get(), i, child.Out())); ++i)
            KelnRemoveChild(list.Get(), child.Get());
        while (SUCCEEDED(KelnGetChildByIndex(list.Get(), 0, child.Out())))
            KelnRemoveChild(list.Get(), child.Get());
    }
    state.SetComplexityN(state.range(0));
}
BENCHMARK(RemoveWhileWalking)
    ->RangeMultiplier(10)
    ->Range(1000, 100000)
    ->Unit(benchmark::kMillisecond)
    ->Complexity(benchmark::oNLogN);

void RemoveInRandomOrder(benchmark::State& state)
{
    for (auto _ : state) {
        state.PauseTiming();
        const NodeHandle list = CreateList(state.range(0), false);
        std::vector<NodeHandle> children = Children(list);
        std::shuffle(children.begin(), children.end(), std::mt19937(1));
        state.ResumeTiming();
        for (const NodeHandle& child : children)
            KelnRemoveChild(list.Get(), child.Get());
        state.PauseTiming();
        children.clear();
        state.ResumeTiming();
    }
    state.SetComplexityN(state.range(0));
}
BENCHMARK(RemoveInRandomOrder)
    ->RangeMultiplier(10)
    ->Range(1000, 100000)
    ->Unit(benchmark::kMillisecond)
    ->Complexity(benchmark::oNLogN);

} // namespace
