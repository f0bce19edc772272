// HostNames.cpp says what the columns are.
{{L"10.0.0.1", 80}, {L"10.0.0.1", 80}, true, true}, {{L"10.0.0.1", 80}, {L"10.0.0.1", 81}, false, true},
    {{L"10.0.0.1", 80}, {L"10.0.0.2", 80}, false, false}, {{L"::5", 1}, {L"::5", 1}, true, true},
    {{L"::5", 1}, {L"::5", 2}, false, true}, {{L"::5", 1}, {L"1::5", 1}, false, false},
    {{L"0.0.0.0", 0}, {L"::", 0}, false, false},
