// Source, severity, steps of indentation, and what follows the time.
{{"C:\\src/Dir\\File.cpp", 12}, 5, 0, L"| DBG  | 9029     7 | File.cpp:12                    | text\r\n"},
    {{"DbgAliveObjectsTracker.cpp", 59}, 5, 0, L"| DBG  | 9029     7 | DbgAliveObjectsTracker.cpp:59  | text\r\n"},
    {{"/x/AVeryLongFileNameThatGoesOnAndOn.cpp", 1234},
     2,
     0,
     L"| ERR  | 9029     7 | AVeryLongFileNameThatGoesO:1234| text\r\n"},
    {{"F.cpp", 12345}, 8, 0, L"|      | 9029     7 | F.cpp:12345                    | text\r\n"},
    {{"F.cpp", 1}, 3, 2, L"| WARN | 9029     7 | F.cpp:1                        |     text\r\n"},
    {{"F.cpp", 1},
     4,
     40,
     L"| INFO | 9029     7 | F.cpp:1                        |                                                          "
     L"   text\r\n"},
