/* A stand-in for the family's Novell IPX library, with its one entry point.
 * The answer stands in the name asked about:
 *   ...novell-on...   0 and "00000001.0001E6123456,400C"
 *   ...novell-off...  0 and an empty address (the printer is switched off)
 *   ...novell-bad...  0 and an address of no known form
 *   anything else     1: not a Novell queue
 * Built for the tests only. */
#include <windows.h>
#include <wchar.h>

__declspec(dllexport) int WINAPI ZQNWGetIPXAddrFromUncName(wchar_t* name, wchar_t* address)
{
    if (wcsstr(name, L"novell-on")) {
        wcscpy(address, L"00000001.0001E6123456,400C");
        return 0;
    }
    if (wcsstr(name, L"novell-off")) {
        address[0] = L'\0';
        return 0;
    }
    if (wcsstr(name, L"novell-bad")) {
        wcscpy(address, L"00000001:0001E6123456");
        return 0;
    }
    return 1;
}
