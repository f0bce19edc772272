// What error information of the framework says, what an E_FAIL that takes it up shows before its location, and that
// location. "OWN" stands for the text that E_FAIL has without error information, "HERE" for the frames of the failure.
{L"0x80004005 It broke [0x1,0x2]", L"0x80004005 It broke", L" [0x1,0x2;HERE]"},
{L"2147500037 A [b] c", L"0x80004005 A [b] c", L" [HERE]"}, // decimal; no bracket at the end
{L"0x80004005 A [b] [0x1]", L"0x80004005 A [b]", L" [0x1;HERE]"},
{L"0x80004004 Another code [0x1]", L"0x80004005 OWN", L" [HERE]"},
{L"no number", L"0x80004005 OWN", L" [HERE]"},
{L"0x80004005", L"0x80004005 OWN", L" [HERE]"}, // no blank behind the number
