/* A stand-in for the family's component libraries of the bulk channel,
 * built under each of their file names. It carries the bytes to a device
 * path, and the test steers it through environment variables of its own
 * process, read at each call:
 *   ORVANE_COMPONENT_PATH   the device path OpenBulk opens
 *   ORVANE_COMPONENT_FAIL   "Call=status,...": that call fails, and
 *                           GetLastStatus gives the status
 *   ORVANE_COMPONENT_EMPTY  "Call,...": that transfer succeeds with 0 bytes
 * Every call is appended to ORVANE_COMPONENT_CALLS as "file:Call(args);".
 * A transfer waits for the time of the last SetTimeout; then it is
 * cancelled and fails with status 1460. Built for the tests only. */
#include <windows.h>
#include <stdio.h>
#include <string.h>

static HMODULE g_module;
static CRITICAL_SECTION g_lock;
static HANDLE g_device = INVALID_HANDLE_VALUE;
static DWORD g_timeout = 8000;
static DWORD g_lastStatus;

#define RECORD_LIMIT 30000

BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID reserved)
{
    (void)reserved;
    if (reason == DLL_PROCESS_ATTACH) {
        g_module = instance;
        InitializeCriticalSection(&g_lock);
    } else if (reason == DLL_PROCESS_DETACH) {
        if (g_device != INVALID_HANDLE_VALUE)
            CloseHandle(g_device);
        DeleteCriticalSection(&g_lock);
    }
    return TRUE;
}

static void Record(const char* call, const char* args)
{
    static char record[RECORD_LIMIT + 512];
    char path[MAX_PATH];
    const char* file = path;
    DWORD length = GetModuleFileNameA(g_module, path, MAX_PATH);
    path[length < MAX_PATH ? length : MAX_PATH - 1] = '\0';
    if (strrchr(path, '\\'))
        file = strrchr(path, '\\') + 1;
    EnterCriticalSection(&g_lock);
    length = GetEnvironmentVariableA("ORVANE_COMPONENT_CALLS", record, RECORD_LIMIT);
    if (length >= RECORD_LIMIT)
        length = 0;
    if (length < RECORD_LIMIT - 400) {
        snprintf(record + length, 400, "%s:%s(%s);", file, call, args);
        SetEnvironmentVariableA("ORVANE_COMPONENT_CALLS", record);
    }
    LeaveCriticalSection(&g_lock);
}

/* Whether `call` is named in the list of variable `name`; with a status
 * ("Call=55") it is stored in `status`. */
static BOOL Listed(const char* name, const char* call, DWORD* status)
{
    char list[512];
    const size_t size = strlen(call);
    DWORD length = GetEnvironmentVariableA(name, list, sizeof list);
    const char* item = list;
    if (length == 0 || length >= sizeof list)
        return FALSE;
    while (item != NULL && *item != '\0') {
        if (strncmp(item, call, size) == 0 && (item[size] == '=' || item[size] == ',' || item[size] == '\0')) {
            if (status != NULL)
                *status = item[size] == '=' ? strtoul(item + size + 1, NULL, 10) : 0;
            return TRUE;
        }
        item = strchr(item, ',');
        if (item != NULL)
            ++item;
    }
    return FALSE;
}

/* True when the test told `call` to fail; the status is kept for
 * GetLastStatus. */
static BOOL Fails(const char* call)
{
    DWORD status = 0;
    if (!Listed("ORVANE_COMPONENT_FAIL", call, &status))
        return FALSE;
    g_lastStatus = status;
    return TRUE;
}

static BYTE Transfer(const char* call, BOOL write, void* buffer, DWORD* size)
{
    char args[32];
    OVERLAPPED overlapped;
    DWORD done = 0;
    BOOL finished;
    snprintf(args, sizeof args, "%lu", (unsigned long)*size);
    Record(call, args);
    if (Fails(call)) {
        *size = 0;
        return FALSE;
    }
    if (Listed("ORVANE_COMPONENT_EMPTY", call, NULL)) {
        *size = 0;
        return TRUE;
    }
    memset(&overlapped, 0, sizeof overlapped);
    overlapped.hEvent = CreateEventW(NULL, TRUE, FALSE, NULL);
    finished = write ? WriteFile(g_device, buffer, *size, NULL, &overlapped)
                     : ReadFile(g_device, buffer, *size, NULL, &overlapped);
    if (!finished && GetLastError() == ERROR_IO_PENDING
        && WaitForSingleObject(overlapped.hEvent, g_timeout) == WAIT_TIMEOUT) {
        CancelIo(g_device);
        GetOverlappedResult(g_device, &overlapped, &done, TRUE);
        CloseHandle(overlapped.hEvent);
        *size = 0;
        g_lastStatus = ERROR_TIMEOUT;
        return FALSE;
    }
    finished = GetOverlappedResult(g_device, &overlapped, &done, TRUE);
    g_lastStatus = finished ? 0 : GetLastError();
    CloseHandle(overlapped.hEvent);
    *size = done;
    return finished ? TRUE : FALSE;
}

BYTE OpenBulk(const char* port)
{
    wchar_t path[512];
    DWORD length;
    Record("OpenBulk", port);
    if (Fails("OpenBulk"))
        return FALSE;
    length = GetEnvironmentVariableW(L"ORVANE_COMPONENT_PATH", path, 512);
    if (length == 0 || length >= 512) {
        g_lastStatus = ERROR_FILE_NOT_FOUND;
        return FALSE;
    }
    if (g_device != INVALID_HANDLE_VALUE)
        CloseHandle(g_device);
    g_device = CreateFileW(path, GENERIC_READ | GENERIC_WRITE, 0, NULL, OPEN_EXISTING, FILE_FLAG_OVERLAPPED, NULL);
    g_lastStatus = g_device == INVALID_HANDLE_VALUE ? GetLastError() : 0;
    return g_device != INVALID_HANDLE_VALUE;
}

BYTE WriteBulk(void* buffer, DWORD* size)
{
    return Transfer("WriteBulk", TRUE, buffer, size);
}

BYTE ReadBulk(void* buffer, DWORD* size)
{
    return Transfer("ReadBulk", FALSE, buffer, size);
}

DWORD BytesAvailable(void)
{
    Record("BytesAvailable", "");
    return 0;
}

BYTE CloseBulk(void)
{
    Record("CloseBulk", "");
    if (g_device != INVALID_HANDLE_VALUE) {
        CloseHandle(g_device);
        g_device = INVALID_HANDLE_VALUE;
    }
    return !Fails("CloseBulk");
}

DWORD GetLastStatus(void)
{
    char args[16];
    snprintf(args, sizeof args, "%lu", (unsigned long)g_lastStatus);
    Record("GetLastStatus", args);
    return g_lastStatus;
}

void SetOpenTimeout(DWORD ms)
{
    char args[16];
    snprintf(args, sizeof args, "%lu", (unsigned long)ms);
    Record("SetOpenTimeout", args);
}

void SetTimeout(DWORD ms)
{
    char args[16];
    snprintf(args, sizeof args, "%lu", (unsigned long)ms);
    Record("SetTimeout", args);
    g_timeout = ms;
}

BYTE OpenInterrupt(const char* port)
{
    Record("OpenInterrupt", port);
    return !Fails("OpenInterrupt");
}

/* The interrupt arrives at once: the event is set. Told to fail, the call
 * leaves its status as the thread's last error: 997 is a library still
 * waiting, which never sets the event here. */
BYTE WaitForInterruptEvent(HANDLE event)
{
    Record("WaitForInterruptEvent", "");
    if (Fails("WaitForInterruptEvent")) {
        SetLastError(g_lastStatus);
        return FALSE;
    }
    return SetEvent(event) ? TRUE : FALSE;
}

BYTE CancelInterrupt(void)
{
    Record("CancelInterrupt", "");
    return !Fails("CancelInterrupt");
}

BYTE CloseInterrupt(void)
{
    Record("CloseInterrupt", "");
    return !Fails("CloseInterrupt");
}

BYTE ExclusiveBulkLock(void* a, void* b, DWORD c)
{
    char args[64];
    snprintf(args, sizeof args, "%llx,%llx,%lu", (unsigned long long)(ULONG_PTR)a, (unsigned long long)(ULONG_PTR)b,
             (unsigned long)c);
    Record("ExclusiveBulkLock", args);
    return !Fails("ExclusiveBulkLock");
}

BYTE ExclusiveBulkUnlock(void* a, void* b)
{
    char args[64];
    snprintf(args, sizeof args, "%llx,%llx", (unsigned long long)(ULONG_PTR)a, (unsigned long long)(ULONG_PTR)b);
    Record("ExclusiveBulkUnlock", args);
    return !Fails("ExclusiveBulkUnlock");
}
