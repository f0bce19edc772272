// Who published error information, what it says, what an E_FAIL that takes it up shows before its location, and that
// location. "OWN" stands for the text that E_FAIL has without error information, "HERE" for the frames of the failure.
{FrameworkErrorGuid, L"0x80004005 It broke [0x1,0x2]", L"0x80004005 It broke", L" [0x1,0x2;HERE]"},
    {FrameworkErrorGuid, L"2147500037 A [b] c", L"0x80004005 A [b] c", L" [HERE]"}, // decimal; no bracket at the end
    {FrameworkErrorGuid, L"0x80004005 A [b] [0x1]", L"0x80004005 A [b]", L" [0x1;HERE]"},
    {FrameworkErrorGuid, L"0x80004004 Another code [0x1]", L"0x80004005 OWN", L" [HERE]"},
    {FrameworkErrorGuid, L"no number", L"0x80004005 OWN", L" [HERE]"},
    {FrameworkErrorGuid, L"0x80004005", L"0x80004005 OWN", L" [HERE]"}, // no blank behind the number
    {ForeignGuid, L"0x80004005 not taken apart [x]", L"0x80004005 0x80004005 not taken apart [x]", L" [HERE]"},
    {ForeignGuid, L"", L"0x80004005 OWN", L" [HERE]"},
