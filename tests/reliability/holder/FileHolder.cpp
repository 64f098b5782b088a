// file-holder.exe: a second process that holds a file without sharing it,
// for the fault of a log file locked by another process.
//   file-holder FILE RELEASE-EVENT
// Prints "held" once the file is open, waits (30 s at most) for the named
// event, closes the file and prints "released".
#include <windows.h>

#include <cstdio>

int wmain(int argc, wchar_t** argv)
{
    if (argc != 3) {
        std::fprintf(stderr, "usage: file-holder FILE RELEASE-EVENT\n");
        return 2;
    }
    HANDLE release = OpenEventW(SYNCHRONIZE, FALSE, argv[2]);
    if (release == nullptr) {
        std::fprintf(stderr, "file-holder: no event %ls (%lu)\n", argv[2], GetLastError());
        return 1;
    }
    HANDLE held = CreateFileW(argv[1], GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_ALWAYS, 0, nullptr);
    if (held == INVALID_HANDLE_VALUE) {
        std::fprintf(stderr, "file-holder: cannot open %ls (%lu)\n", argv[1], GetLastError());
        CloseHandle(release);
        return 1;
    }
    std::printf("held\n");
    std::fflush(stdout);
    const DWORD waited = WaitForSingleObject(release, 30000);
    CloseHandle(held);
    CloseHandle(release);
    if (waited != WAIT_OBJECT_0) {
        std::fprintf(stderr, "file-holder: not released within 30 s\n");
        return 1;
    }
    std::printf("released\n");
    std::fflush(stdout);
    return 0;
}
