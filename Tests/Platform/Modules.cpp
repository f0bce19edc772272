#include "Common/Foundation/Handles.h"
#include "Platform/Testing/TemporaryFolder.h"
#include "Tests/Platform/ErrorOf.h"

#include <fstream>
#include <gtest/gtest.h>

namespace
{

constexpr DWORD asMessages = LOAD_LIBRARY_AS_DATAFILE | LOAD_LIBRARY_AS_IMAGE_RESOURCE;

std::wstring FileName(HMODULE module)
{
    wchar_t buffer[1000];
    return {buffer, GetModuleFileNameW(module, buffer, 1000)};
}

// Null, with ERROR_MOD_NOT_FOUND, when no module is there.
HMODULE ModuleAt(const void* address)
{
    constexpr DWORD flags = GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT;
    HMODULE module = GetModuleHandleW(nullptr);
    const DWORD error = ErrorOf([&] { GetModuleHandleExW(flags, static_cast<LPCWSTR>(address), &module); });
    EXPECT_EQ(error, module ? 0 : DWORD{ERROR_MOD_NOT_FOUND});
    return module;
}

} // namespace

TEST(Modules, MainProgramIsFoundByNullAndByAddress)
{
    HMODULE program = GetModuleHandleW(nullptr);
    EXPECT_EQ(ModuleAt(reinterpret_cast<const void*>(&ModuleAt)), program);
    EXPECT_EQ(ModuleAt(&program), nullptr);
    const std::wstring name = FileName(nullptr);
    EXPECT_EQ(FileName(program), name);
    EXPECT_NE(name.find(L"\\PlatformTests"), std::wstring::npos);
    const auto length = static_cast<DWORD>(name.size());
    std::wstring buffer(length + 1, L'#');
    for (const DWORD size : {DWORD{0}, DWORD{1}, length, length + 1}) {
        SetLastError(7);
        EXPECT_EQ(GetModuleFileNameW(nullptr, buffer.data(), size), std::min(size, length));
        EXPECT_EQ(GetLastError(), size > length ? ERROR_SUCCESS : DWORD{ERROR_INSUFFICIENT_BUFFER});
        EXPECT_TRUE(size < 2 || buffer.substr(0, size - 1) == name.substr(0, size - 1));
    }
}

TEST(Modules, LastReferenceUnloads)
{
    const std::wstring path = FileName(nullptr).substr(0, FileName(nullptr).rfind(L'\\')) + L"\\PlatformTest.module";
    for (int round = 0; round < 2; ++round) {
        UniqueModule module(LoadLibraryExW(path.c_str(), nullptr, 0));
        HMODULE handle = module.get();
        UniqueModule again(LoadLibraryExW(path.c_str(), nullptr, 0));
        EXPECT_EQ(again, module);
        EXPECT_EQ(FileName(handle), path);
        void* const address = reinterpret_cast<void*>(GetProcAddress(handle, "CountUnloadIn"));
        ASSERT_TRUE(address);
        EXPECT_EQ(ModuleAt(address), handle);
        EXPECT_FALSE(GetProcAddress(handle, "strlen")) << "belongs to another library";
        int unloads = 0;
        reinterpret_cast<void (*)(int*)>(address)(&unloads);
        again.reset();
        EXPECT_EQ(unloads, 0);
        module.reset();
        EXPECT_EQ(unloads, 1);
        EXPECT_EQ(ModuleAt(address), nullptr);
        EXPECT_EQ(ErrorOf([&] { EXPECT_FALSE(FreeLibrary(handle)); }), DWORD{ERROR_MOD_NOT_FOUND});
    }
}

TEST(Modules, LoadingSaysWhyItFailed)
{
    const TemporaryFolder folder;
    std::ofstream(folder.Path() / "bad.dll") << std::string(5000, 'x');
    std::ofstream(folder.Path() / "empty.dll");
    for (const DWORD flags : {DWORD{0}, asMessages}) {
        const auto error = [&](const char* name) {
            const std::wstring path = (folder.Path() / name).wstring();
            return ErrorOf([&] { LoadLibraryExW(path.c_str(), nullptr, flags); });
        };
        EXPECT_EQ(error("bad.dll"), DWORD{ERROR_BAD_EXE_FORMAT});
        EXPECT_EQ(error("empty.dll"), DWORD{ERROR_BAD_EXE_FORMAT});
        EXPECT_EQ(error("none/none.dll"), flags ? DWORD{ERROR_FILE_NOT_FOUND} : DWORD{ERROR_MOD_NOT_FOUND});
    }
}
