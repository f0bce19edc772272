// What is granted, the subject's id and display name, the fallback name, and the item as Describe shows it. "-" stands
// for a container without identifier.
{{L"A", L"", L"B"}, L"id", L"ann", L"", L"ann(A,B)"},
    {{L"A", L"-", L"B"}, L"id", L"ann", L"", L"ann"}, // widens the answer to all
    {{L""}, L"id", L"ann", L"", L"<none>"}, {{}, L"same", L"same", L"CORP\\fallback", L"CORP\\fallback"},
    {{}, L"same", L"same", L"", L"same"}, {{}, L"id", L"ann", L"CORP\\fallback", L"ann"},
    {{}, L"id", L"", L"CORP\\fallback", L""}, // empty, but not equal to the id
    {{}, L"win:sid=S-1-5-18", L"sys", L"", L"sys!"},
