#include "Host/ReportingDatabase/GuidText.h"

namespace Host
{

std::optional<std::wstring> ToGuidText(std::wstring_view text)
{
    constexpr std::wstring_view form = L"XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX";
    if (text.starts_with(L'{') && text.ends_with(L'}') && text.size() > 1)
        text = text.substr(1, text.size() - 2);
    if (text.size() != form.size())
        return std::nullopt;
    std::wstring guid(text);
    for (std::size_t i = 0; i < guid.size(); ++i) {
        wchar_t& c = guid[i];
        if (c >= L'a' && c <= L'f')
            c = static_cast<wchar_t>(c - L'a' + L'A');
        const bool isDigit = (c >= L'0' && c <= L'9') || (c >= L'A' && c <= L'F');
        if (form[i] == L'-' ? c != L'-' : !isDigit)
            return std::nullopt;
    }
    return guid;
}

} // namespace Host
