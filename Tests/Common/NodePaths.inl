// Node that the search starts from, path, flags, and the node found ("" for none). The tree is \Site with A, which has
// B, and C.
{L"\\Site", L"A\\B", 0, L"\\Site\\A\\B"}, {L"\\Site", L"", 0, L"\\Site"},
    {L"\\Site", L"\\Site\\A\\B", 0, L"\\Site\\A\\B"},
    {L"\\Site\\A\\B", L"\\Site\\C", 0, L"\\Site\\C"}, // two steps up, one down
    {L"\\Site\\A\\B", L"\\Site\\A\\B", 0, L"\\Site\\A\\B"}, {L"\\Site\\A\\B", L"\\Site\\C", NodePathDownOnly, L""},
    {L"\\Site\\A", L"\\Site\\A\\B", NodePathDownOnly, L"\\Site\\A\\B"},
    {L"\\Site", L"\\Sit", 0, L""}, // whole segments only
    {L"\\Site\\A", L"\\Site\\AB", NodePathDownOnly, L""}, {L"\\Site", L"\\Other\\A", 0, L""},
    {L"\\Site", L"A\\X\\B", 0, L""},
