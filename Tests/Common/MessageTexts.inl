// A code and its text with the modules of Errors.cpp.
{0x80040200, L"One's text"}, {0x80040201, L"Two's %1 text"},       // insertions stay
    {0x80050000, L"Fallback text"},                                // behind the interface-specific range
    {0x8007FFF7, L"Low bits"}, {0x80070490, L"Element not found"}, // of the system, without period and line break
    {0xA0FE1234, L"<no description>"},
