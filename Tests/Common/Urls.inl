// HostNames.cpp says what the columns are.
{L"HTTPS://reportsrv:443/ReportServer", {L"https", L"reportsrv", L"443", L"/ReportServer"}},
    {L"http://[::1]:8080/ReportServer", {L"http", L"::1", L"8080", L"/ReportServer"}},
    {L"http://[fe80::1]/x", {L"http", L"fe80::1", L"", L"/x"}}, {L"fe80::1", {L"http", L"fe80::1", L"", L""}},
    {L"1:2:3:4:5:6:7:8:80", {L"http", L"1:2:3:4:5:6:7:8", L"80", L""}},
    {L"localhost/ReportServer", {L"http", L"localhost", L"", L"/ReportServer"}},
    {L"http://./ReportServer", {L"http", L"", L"", L"/ReportServer"}}, {L":80/x", {L"http", L"", L"80", L"/x"}},
    {L"::", {L"http", L"::", L"", L""}}, {L"ftp://host/x", {L"http", L"ftp", L"", L"//host/x"}},
    {L"", {L"http", L"", L"", L""}},
