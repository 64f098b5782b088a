/* A port monitor for Wine's spooler that answers the family's transceive
 * commands for the ports the resolver's tests give it. Which answer a port
 * gets stands in its name:
 *   ORV_REMOTE_IP        IP address 127.0.0.1, port 9100, community "public"
 *   ORV_REMOTE_HOST      host address "localhost" and no IP address
 *   ORV_REMOTE_BIGPORT   IP address 127.0.0.1 and the port number 70000
 *   ORV_REMOTE_LONGSNMP  IP address 127.0.0.1 and a community of 34 characters
 *   ORV_REMOTE_NONAME    IP address 10.0.0.1 and host address "localhost"
 *   ORV_REMOTE_SHORT     success with only the port name's 128 bytes written
 *   WSD-...              "DeviceID": the device's identity
 * and for the device manager's, as the family's discovery monitor:
 *   ORV_DISCO_IP         "IsZQDiscoPort" 1, IP address 127.0.0.1
 *   ORV_DISCO_HOST       "IsZQDiscoPort" 1, host address "localhost" only
 *   ORV_DISCO_NOT        "IsZQDiscoPort" 0
 * Their "GetConfigInfo" takes only a CONFIG_INFO_DATA_1 of version 1 and an
 * answer buffer of a whole PORT_DATA_1 that names the port.
 * As the family's discovery monitor it also keeps ports: "AddPort" and
 * "ConfigPort" (on the monitor's channel, a record of port name, serial
 * number and model name, 64 characters each) and "DeletePort" (on the
 * port's channel, the port name in 64 characters). A port is the key
 * "Ports\<port>" below the monitor's own key, as the spooler looks for the
 * monitor of a port there; "AddPort" of a port that exists answers 183. A
 * test can have a command on a port answer a status of its choice instead:
 * the DWORD value "<command> <port>" of HKLM\Software\Orvane\TestPortMonitor.
 * Any other command, or port, is refused. Built for the tests only. */
#include <windows.h>
#include <winspool.h>
#include <winsplp.h>
#include <stddef.h>
#include <string.h>
#include <wchar.h>

#define PORT_DATA_BYTES 964
#define OFFSET_HOST 144
#define OFFSET_COMMUNITY 242
#define OFFSET_IP 378
#define OFFSET_PORT_NUMBER 952
#define CONFIG_INFO_BYTES 132
#define OFFSET_CONFIG_VERSION 128

#define PORT_CHARS 64
#define PORT_RECORD_BYTES (3 * PORT_CHARS * sizeof(WCHAR))
#define MONITORS L"System\\CurrentControlSet\\Control\\Print\\Monitors\\"
#define ANSWERS L"Software\\Orvane\\TestPortMonitor"

typedef struct {
    WCHAR port[256];
} Channel;

/* The status a test set for this command on this port, if any. */
static BOOL SetAnswer(LPCWSTR command, const WCHAR* port, DWORD* answer)
{
    WCHAR name[128];
    DWORD size = sizeof *answer;
    _snwprintf(name, 127, L"%ls %ls", command, port);
    name[127] = 0;
    HKEY answers = NULL;
    DWORD type = 0;
    BOOL found = FALSE;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, ANSWERS, 0, KEY_READ, &answers) == ERROR_SUCCESS) {
        found = RegQueryValueExW(answers, name, NULL, &type, (BYTE*)answer, &size) == ERROR_SUCCESS && type == REG_DWORD;
        RegCloseKey(answers);
    }
    return found;
}

/* The key of a port below the monitor's own. */
static void PortKey(WCHAR* key, const WCHAR* monitor, const WCHAR* port)
{
    _snwprintf(key, 511, MONITORS L"%ls\\Ports\\%.64ls", monitor, port);
    key[511] = 0;
}

static DWORD KeepPort(const WCHAR* monitor, const WCHAR* record, BOOL adding)
{
    WCHAR key[512];
    HKEY port = NULL;
    DWORD made = 0;
    PortKey(key, monitor, record);
    if (RegCreateKeyExW(HKEY_LOCAL_MACHINE, key, 0, NULL, 0, KEY_WRITE, NULL, &port, &made) != ERROR_SUCCESS) {
        return ERROR_ACCESS_DENIED;
    }
    if (adding && made != REG_CREATED_NEW_KEY) {
        RegCloseKey(port);
        return ERROR_ALREADY_EXISTS;
    }
    if (!adding && made == REG_CREATED_NEW_KEY) {
        RegCloseKey(port);
        RegDeleteKeyW(HKEY_LOCAL_MACHINE, key);
        return ERROR_FILE_NOT_FOUND;
    }
    RegSetValueExW(port, L"SerialNumber", 0, REG_SZ, (const BYTE*)(record + PORT_CHARS),
                   (DWORD)((wcsnlen(record + PORT_CHARS, PORT_CHARS - 1) + 1) * sizeof(WCHAR)));
    RegSetValueExW(port, L"ModelName", 0, REG_SZ, (const BYTE*)(record + 2 * PORT_CHARS),
                   (DWORD)((wcsnlen(record + 2 * PORT_CHARS, PORT_CHARS - 1) + 1) * sizeof(WCHAR)));
    RegCloseKey(port);
    return ERROR_SUCCESS;
}

/* Deletes the port's key below whichever monitor holds it. */
static DWORD DropPort(const WCHAR* port)
{
    HKEY monitors = NULL;
    WCHAR monitor[256];
    WCHAR key[512];
    DWORD status = ERROR_FILE_NOT_FOUND;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, MONITORS, 0, KEY_READ, &monitors) != ERROR_SUCCESS) {
        return status;
    }
    for (DWORD i = 0;; ++i) {
        DWORD chars = 256;
        if (RegEnumKeyExW(monitors, i, monitor, &chars, NULL, NULL, NULL, NULL) != ERROR_SUCCESS) {
            break;
        }
        PortKey(key, monitor, port);
        if (RegDeleteTreeW(HKEY_LOCAL_MACHINE, key) == ERROR_SUCCESS) {
            status = ERROR_SUCCESS;
            /* "Ports" goes with the monitor's last port. */
            *wcsrchr(key, L'\\') = 0;
            RegDeleteKeyW(HKEY_LOCAL_MACHINE, key);
        }
    }
    RegCloseKey(monitors);
    return status;
}

static DWORD PortCommand(const WCHAR* object, LPCWSTR command, PBYTE in, DWORD inBytes)
{
    DWORD answer = 0;
    const BOOL deleting = wcscmp(command, L"DeletePort") == 0;
    if (in == NULL || inBytes != (deleting ? PORT_CHARS * sizeof(WCHAR) : PORT_RECORD_BYTES)) {
        return ERROR_INVALID_PARAMETER;
    }
    WCHAR port[PORT_CHARS + 1] = {0};
    memcpy(port, in, PORT_CHARS * sizeof(WCHAR));
    if (SetAnswer(command, port, &answer)) {
        return answer;
    }
    if (deleting) {
        return wcscmp(object, port) == 0 ? DropPort(port) : ERROR_INVALID_PARAMETER;
    }
    return KeepPort(object, (const WCHAR*)in, wcscmp(command, L"AddPort") == 0);
}

static BOOL WINAPI MonEnumPorts(HANDLE monitor, LPWSTR name, DWORD level, LPBYTE ports, DWORD bytes,
                                LPDWORD needed, LPDWORD returned)
{
    *needed = 0;
    *returned = 0;
    return TRUE;
}

static BOOL WINAPI MonXcvOpenPort(HANDLE monitor, LPCWSTR object, ACCESS_MASK access, PHANDLE handle)
{
    Channel* channel = HeapAlloc(GetProcessHeap(), HEAP_ZERO_MEMORY, sizeof(Channel));
    if (!channel) {
        return FALSE;
    }
    lstrcpynW(channel->port, object ? object : L"", 256);
    *handle = channel;
    return TRUE;
}

static void PutText(PBYTE out, size_t offset, const WCHAR* text)
{
    memcpy(out + offset, text, (wcslen(text) + 1) * sizeof(WCHAR));
}

static DWORD DiscoveryPort(const WCHAR* port, LPCWSTR command, PBYTE in, DWORD inBytes, PBYTE out,
                           DWORD outBytes, PDWORD needed)
{
    if (wcscmp(command, L"IsZQDiscoPort") == 0) {
        DWORD answer = wcscmp(port, L"ORV_DISCO_NOT") != 0;
        *needed = sizeof answer;
        if (outBytes < sizeof answer) {
            return ERROR_INSUFFICIENT_BUFFER;
        }
        memcpy(out, &answer, sizeof answer);
        return ERROR_SUCCESS;
    }
    if (wcscmp(command, L"GetConfigInfo") != 0) {
        return ERROR_INVALID_PARAMETER;
    }
    DWORD version = 0;
    if (inBytes != CONFIG_INFO_BYTES || outBytes < PORT_DATA_BYTES) {
        return ERROR_INVALID_PARAMETER;
    }
    memcpy(&version, in + OFFSET_CONFIG_VERSION, sizeof version);
    if (version != 1 || wcsncmp((const WCHAR*)out, port, 64) != 0) {
        return ERROR_INVALID_PARAMETER;
    }
    *needed = PORT_DATA_BYTES;
    if (wcscmp(port, L"ORV_DISCO_HOST") == 0) {
        PutText(out, OFFSET_HOST, L"localhost");
    } else {
        PutText(out, OFFSET_IP, L"127.0.0.1");
    }
    return ERROR_SUCCESS;
}

static DWORD WINAPI MonXcvDataPort(HANDLE handle, LPCWSTR command, PBYTE in, DWORD inBytes, PBYTE out,
                                   DWORD outBytes, PDWORD needed)
{
    const WCHAR* port = ((Channel*)handle)->port;
    if (wcscmp(command, L"AddPort") == 0 || wcscmp(command, L"ConfigPort") == 0 || wcscmp(command, L"DeletePort") == 0) {
        return PortCommand(port, command, in, inBytes);
    }
    if (wcscmp(command, L"DeviceID") == 0 && wcsncmp(port, L"WSD-", 4) == 0) {
        static const WCHAR identity[] = L"uuid:6a9e2d8c-2f43-4a55-9d2e-0123456789ab";
        *needed = sizeof identity;
        if (outBytes < sizeof identity) {
            return ERROR_INSUFFICIENT_BUFFER;
        }
        memcpy(out, identity, sizeof identity);
        return ERROR_SUCCESS;
    }
    if (wcsncmp(port, L"ORV_DISCO_", 10) == 0) {
        return DiscoveryPort(port, command, in, inBytes, out, outBytes, needed);
    }
    if (wcscmp(command, L"GetConfigInfo") != 0 || wcsncmp(port, L"ORV_REMOTE_", 11) != 0) {
        return ERROR_INVALID_PARAMETER;
    }
    if (wcscmp(port, L"ORV_REMOTE_SHORT") == 0) {
        *needed = 128;
        memset(out, 0, 128);
        PutText(out, 0, port);
        return ERROR_SUCCESS;
    }
    *needed = PORT_DATA_BYTES;
    if (outBytes < PORT_DATA_BYTES) {
        return ERROR_INSUFFICIENT_BUFFER;
    }
    memset(out, 0, PORT_DATA_BYTES);
    DWORD number = 9100;
    if (wcscmp(port, L"ORV_REMOTE_HOST") == 0) {
        PutText(out, OFFSET_HOST, L"localhost");
    } else if (wcscmp(port, L"ORV_REMOTE_NONAME") == 0) {
        PutText(out, OFFSET_IP, L"10.0.0.1");
        PutText(out, OFFSET_HOST, L"localhost");
    } else {
        PutText(out, OFFSET_IP, L"127.0.0.1");
    }
    if (wcscmp(port, L"ORV_REMOTE_BIGPORT") == 0) {
        number = 70000;
    }
    if (wcscmp(port, L"ORV_REMOTE_LONGSNMP") == 0) {
        /* 34 characters: the community's field and one more, running into
         * the next field of the answer. */
        for (int i = 0; i < 34; ++i) {
            ((WCHAR*)(out + OFFSET_COMMUNITY))[i] = L'c';
        }
    } else {
        PutText(out, OFFSET_COMMUNITY, L"public");
    }
    memcpy(out + OFFSET_PORT_NUMBER, &number, sizeof number);
    return ERROR_SUCCESS;
}

static BOOL WINAPI MonXcvClosePort(HANDLE handle)
{
    return HeapFree(GetProcessHeap(), 0, handle);
}

static VOID WINAPI MonShutdown(HANDLE monitor)
{
}

static MONITOR2 g_monitor;

__declspec(dllexport) LPMONITOR2 WINAPI InitializePrintMonitor2(PMONITORINIT init, PHANDLE monitor)
{
    g_monitor.cbSize = sizeof g_monitor;
    g_monitor.pfnEnumPorts = MonEnumPorts;
    g_monitor.pfnXcvOpenPort = MonXcvOpenPort;
    g_monitor.pfnXcvDataPort = MonXcvDataPort;
    g_monitor.pfnXcvClosePort = MonXcvClosePort;
    g_monitor.pfnShutdown = MonShutdown;
    *monitor = (HANDLE)1;
    return &g_monitor;
}
