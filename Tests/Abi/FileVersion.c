/* Reads the version resource of a module as the system's file properties do.
 *
 *     FileVersion MODULE VERSION
 */
#include <stdio.h>
#include <string.h>
#include <windows.h>

static int Check(const char* resource, const char* name, const char* expected)
{
    char key[64];
    const char* value = NULL;
    UINT size = 0;
    snprintf(key, sizeof(key), "\\StringFileInfo\\040904B0\\%s", name);
    if (VerQueryValueA(resource, key, (LPVOID*)&value, &size) && size > 1 && strcmp(value, expected) == 0)
        return 0;
    fprintf(stderr, "FileVersion: %s is '%s', expected '%s'\n", name, size > 0 ? value : "", expected);
    return 1;
}

int main(int argc, char** argv)
{
    static char resource[4096];
    VS_FIXEDFILEINFO* fixed = NULL;
    unsigned part[4] = {0};
    UINT size = 0;
    int failures = 0;
    if (argc < 3 || sscanf(argv[2], "%u.%u.%u.%u", &part[0], &part[1], &part[2], &part[3]) != 4)
        return fprintf(stderr, "usage: FileVersion MODULE VERSION\n"), 2;
    if (!GetFileVersionInfoA(argv[1], 0, sizeof(resource), resource))
        return fprintf(stderr, "FileVersion: %s has no version\n", argv[1]), 1;
    const char* const fields[][2] = {{"CompanyName", "Kestrine"},
                                     {"FileDescription", "Kestrine64"},
                                     {"FileVersion", argv[2]},
                                     {"InternalName", "Kestrine"},
                                     {"LegalCopyright", "Copyright (C) Kestrine"},
                                     {"OriginalFilename", "Kestrine.dll"},
                                     {"ProductName", "Kestrine"},
                                     {"ProductVersion", argv[2]}};
    for (size_t i = 0; i < sizeof(fields) / sizeof(*fields); ++i)
        failures += Check(resource, fields[i][0], fields[i][1]);
    const DWORD high = part[0] << 16 | part[1];
    const DWORD low = part[2] << 16 | part[3];
    if (!VerQueryValueA(resource, "\\", (LPVOID*)&fixed, &size) || fixed->dwFileVersionMS != high ||
        fixed->dwFileVersionLS != low || fixed->dwProductVersionMS != high || fixed->dwProductVersionLS != low)
        failures += 1, fprintf(stderr, "FileVersion: the binary version is another one\n");
    printf("FileVersion: %d failures\n", failures);
    return failures ? 1 : 0;
}
