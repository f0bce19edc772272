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
    ASSERT_NE(program, nullptr);
    const int local = 0;
    EXPECT_EQ(ModuleAt(reinterpret_cast<const void*>(&ModuleAt)), program);
    EXPECT_EQ(ModuleAt(&local), nullptr);
    EXPECT_EQ(FileName(program), FileName(nullptr));
    EXPECT_EQ(FileName(program).find(L'/'), std::wstring::npos);
    EXPECT_NE(FileName(program).find(L"\\PlatformTests"), std::wstring::npos);
    EXPECT_TRUE(FreeLibrary(program)) << "which has no effect";
    EXPECT_EQ(GetModuleHandleW(nullptr), program);
}

TEST(Modules, FileNameIsCutToTheBuffer)
{
    const std::wstring name = FileName(nullptr);
    const auto length = static_cast<DWORD>(name.size());
    std::wstring buffer(length + 1, L'#');
    for (const DWORD size : {DWORD{0}, DWORD{1}, length, length + 1}) {
        SetLastError(7);
        const DWORD expected = std::min(size, length);
        EXPECT_EQ(GetModuleFileNameW(nullptr, buffer.data(), size), expected);
        EXPECT_EQ(GetLastError(), size > length ? ERROR_SUCCESS : DWORD{ERROR_INSUFFICIENT_BUFFER});
        EXPECT_TRUE(size < 2 || buffer.substr(0, size - 1) == name.substr(0, size - 1));
    }
}

TEST(Modules, SystemLibraryOffersItsFunctionsByName)
{
    HMODULE kernel = GetModuleHandleW(L"Kernel32.dll");
    ASSERT_NE(kernel, nullptr);
    EXPECT_EQ(GetModuleHandleW(L"KERNEL32.DLL"), kernel);
    EXPECT_NE(kernel, GetModuleHandleW(nullptr));
    void* const address = reinterpret_cast<void*>(GetProcAddress(kernel, "GetSystemTimePreciseAsFileTime"));
    ASSERT_NE(address, nullptr);
    FILETIME time{};
    reinterpret_cast<decltype(&GetSystemTimePreciseAsFileTime)>(address)(&time);
    EXPECT_NE(time.dwHighDateTime, 0U);
    EXPECT_EQ(ErrorOf([&] { EXPECT_FALSE(GetProcAddress(kernel, "NoSuch")); }), DWORD{ERROR_PROC_NOT_FOUND});
    EXPECT_EQ(ErrorOf([] { EXPECT_FALSE(GetModuleHandleW(L"NoSuch.dll")); }), DWORD{ERROR_MOD_NOT_FOUND});
}

TEST(Modules, LastReferenceUnloads)
{
    const std::wstring path = FileName(nullptr).substr(0, FileName(nullptr).rfind(L'\\')) + L"\\PlatformTest.module";
    for (int round = 0; round < 2; ++round) {
        HMODULE module = LoadLibraryExW(path.c_str(), nullptr, 0);
        ASSERT_NE(module, nullptr) << GetLastError();
        EXPECT_EQ(LoadLibraryExW(path.c_str(), nullptr, 0), module);
        EXPECT_EQ(FileName(module), path);
        void* const function = reinterpret_cast<void*>(GetProcAddress(module, "CountUnloadIn"));
        ASSERT_NE(function, nullptr);
        EXPECT_EQ(ModuleAt(function), module);
        EXPECT_FALSE(GetProcAddress(module, "strlen")) << "belongs to another library";
        int unloads = 0;
        reinterpret_cast<void (*)(int*)>(function)(&unloads);
        EXPECT_TRUE(FreeLibrary(module));
        EXPECT_EQ(unloads, 0);
        EXPECT_TRUE(FreeLibrary(module));
        EXPECT_EQ(unloads, 1);
        EXPECT_EQ(ModuleAt(function), nullptr);
        EXPECT_EQ(ErrorOf([&] { EXPECT_EQ(FileName(module), L""); }), DWORD{ERROR_MOD_NOT_FOUND});
        EXPECT_EQ(ErrorOf([&] { EXPECT_FALSE(FreeLibrary(module)); }), DWORD{ERROR_MOD_NOT_FOUND});
    }
    EXPECT_EQ(ErrorOf([] { EXPECT_FALSE(FreeLibrary(nullptr)); }), DWORD{ERROR_INVALID_HANDLE});
}

TEST(Modules, LoadingSaysWhyItFailed)
{
    const TemporaryFolder folder;
    std::ofstream(folder.Path() / "bad.dll") << std::string(5000, 'x');
    std::ofstream(folder.Path() / "empty.dll");
    const auto error = [&folder](const char* name, DWORD flags) {
        const std::wstring path = (folder.Path() / name).wstring();
        return ErrorOf([&] { EXPECT_EQ(LoadLibraryExW(path.c_str(), nullptr, flags), nullptr); });
    };
    for (const DWORD flags : {DWORD{0}, asMessages}) {
        EXPECT_EQ(error("bad.dll", flags), DWORD{ERROR_BAD_EXE_FORMAT});
        EXPECT_EQ(error("empty.dll", flags), DWORD{ERROR_BAD_EXE_FORMAT});
        EXPECT_EQ(error("none.dll", flags), flags ? DWORD{ERROR_FILE_NOT_FOUND} : DWORD{ERROR_MOD_NOT_FOUND});
        EXPECT_EQ(error("none/none.dll", flags), flags ? DWORD{ERROR_FILE_NOT_FOUND} : DWORD{ERROR_MOD_NOT_FOUND});
    }
    EXPECT_EQ(error("", asMessages), DWORD{ERROR_ACCESS_DENIED}) << "a folder";
}
