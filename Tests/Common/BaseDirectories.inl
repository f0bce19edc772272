// The setting "DataDirectoryPath" and the base directory that it gives a module in C:\module.
{L"", L"C:\\module\\"}, {L"data", L"C:\\module\\data\\"}, {L"C:\\data", L"C:\\data\\"}, {L"/srv/data/", L"/srv/data/"},
    {L"%KESTRINE_TEST_DIRECTORY%\\x", L"C:\\expanded\\x\\"},
