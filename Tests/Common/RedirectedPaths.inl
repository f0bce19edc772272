// A path and what it is resolved to.
{L"logs\\", L"D:\\logs\\"}, {L"LOGS/sub\\file.log", L"D:\\logs\\sub\\file.log"},
    {L"Reports\\old\\x", L"E:\\archive\\x"}, {L"Reports\\new", L"C:\\data\\Reports\\new"},
    {L"\\Logs", L"\\Logs"},           // absolute paths are not redirected
    {L"number", L"C:\\data\\number"}, // only texts count
    {L"\u00C4rger\\x", L"F:\\a\\x"}, // letters beyond ASCII have their cases as well
