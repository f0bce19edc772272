#include "Platform/Modules.h"
#include "Tests/Fuzz/Fuzz.h"

void Try(std::string_view input)
{
    Platform::MessageModule module;
    if (Platform::MessageModule::Load(FileWith(input).wstring(), module) < 0)
        return;
    for (const std::uint32_t id : {0x80040201U, 0x80040202U, 0U})
        module.Find(id);
}
