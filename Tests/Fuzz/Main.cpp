#include "Platform/Testing/TemporaryFolder.h"
#include "Tests/Fuzz/Fuzz.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Try({reinterpret_cast<const char*>(data), size});
    return 0;
}

void Require(bool holds, const char* what)
{
    if (holds)
        return;
    std::fprintf(stderr, "does not hold: %s\n", what);
    std::abort();
}

const std::filesystem::path& FileWith(std::string_view bytes)
{
    static const TemporaryFolder folder;
    static const std::filesystem::path file = folder.Path() / "input";
    std::ofstream(file, std::ios::binary).write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    return file;
}

std::string_view TakeField(std::string_view& input)
{
    const std::string_view field = input.substr(0, input.find('\n'));
    input.remove_prefix(std::min(field.size() + 1, input.size()));
    return field;
}

std::wstring TakeText(std::string_view& input)
{
    std::wstring text = Text::FromUtf8(TakeField(input));
    std::erase(text, L'\0');
    return text;
}
