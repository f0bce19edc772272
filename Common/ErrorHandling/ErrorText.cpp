#include "Common/ErrorHandling/ErrorText.h"

#include "Common/ErrorHandling/MessageModules.h"
#include "Common/Foundation/Strings.h"

#include <cwchar>
#include <optional>

namespace
{

// The parts of a full error text; nullopt for any other form.
std::optional<ErrorRecord> ParseErrorText(const std::wstring& text)
{
    wchar_t* end = nullptr;
    const unsigned long long number = std::wcstoull(text.c_str(), &end, 0);
    if (end == text.c_str() || *end != L' ')
        return std::nullopt;

    ErrorRecord record;
    record.code = static_cast<HRESULT>(static_cast<std::uint32_t>(number));
    std::wstring_view description = std::wstring_view(text).substr(static_cast<std::size_t>(end + 1 - text.c_str()));
    if (const std::size_t open = description.rfind(L'[');
        open != std::wstring_view::npos && description.back() == L']') {
        record.location = description.substr(open + 1, description.size() - open - 2);
        description = description.substr(0, open);
    }
    record.description = Strings::TrimRight(description);
    return record;
}

ErrorRecord ReadErrorInfo(const Platform::ErrorInfo& info, HRESULT code)
{
    ErrorRecord record;
    const std::wstring text = info.Description();
    if (!(info.Origin() == FrameworkErrorGuid))
        record.description = text;
    else if (auto parsed = ParseErrorText(text); parsed && parsed->code == code)
        record = std::move(*parsed);
    return record;
}

std::wstring FrameList(const HRES& error)
{
    std::wstring list;
    for (void* const frame : error.Frames()) {
        if (!frame)
            break;
        list += (list.empty() ? L"" : L",") + Strings::Hex(frame);
    }
    return list;
}

} // namespace

ErrorRecord MakeErrorRecord(const HRES& error)
{
    ErrorRecord record;
    if (error.ErrorInfo())
        record = ReadErrorInfo(error.ErrorInfo(), error.Code());
    record.code = error.Code();
    if (record.description.empty())
        record.description = GetErrorMessage(error.Code());
    if (const std::wstring frames = FrameList(error); !frames.empty())
        record.location += (record.location.empty() ? L"" : L";") + frames;
    return record;
}

std::wstring ErrorText(const ErrorRecord& record, unsigned flags)
{
    std::wstring text;
    if (!(flags & WithoutCode))
        text += Strings::Hex(static_cast<std::uint32_t>(record.code)) + L" ";
    if (!(flags & WithoutDescription))
        text += record.description;
    if (!(flags & WithoutLocation) && !record.location.empty())
        text += L" [" + record.location + L"]";
    text.resize(Strings::TrimRight(text).size());
    return text;
}

std::wstring ErrorText(const HRES& error, unsigned flags)
{
    return ErrorText(MakeErrorRecord(error), flags);
}

LogText& operator<<(LogText& text, const HRES& error)
{
    return text << ErrorText(error);
}

HRESULT PublishError(const HRES& error)
{
    return error.Failed() ? PublishError(error, ErrorText(error)) : error.Code();
}

HRESULT PublishError(const HRES& error, const std::wstring& text)
{
    Platform::ErrorInfo::Make(FrameworkErrorGuid, text).LeaveOnThread();
    return error.Code();
}

Platform::ErrorInfo RestoreErrorInfo(const std::wstring& text)
{
    const std::optional<ErrorRecord> parsed = ParseErrorText(text);
    return Platform::ErrorInfo::Make(parsed && parsed->code < 0 ? FrameworkErrorGuid : GUID{}, text);
}
