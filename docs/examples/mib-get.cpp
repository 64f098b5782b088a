// One management object of a device through a MIBConnection; the device
// family's run-time zqdrtl12.dll must be on the program's search path.
//
//   mib-get 192.0.2.7 1.3.6.1.2.1.1.1.0
#include <cstdio>

#include "orvane64.h"

int wmain(int argc, wchar_t** argv)
{
    if (argc != 3) {
        std::fprintf(stderr, "usage: mib-get ADDRESS OID\n");
        return 2;
    }
    Orvane::Address* address = Orvane::CreateAddressFromIPAddress(argv[1]);
    if (address == nullptr) {
        return 1;
    }
    Orvane::MIBConnection* mib = nullptr;
    address->CreateMIBConnection(&mib);
    address->Dispose();
    if (mib == nullptr) {
        return 1;
    }
    VARIANT value;
    VariantInit(&value);
    // E_FAIL for every failure: no run-time, no device, no such object.
    const unsigned long status = mib->GetValue(argv[2], &value);
    if (status != 0) {
        std::fprintf(stderr, "GetValue failed: 0x%08lx\n", status);
    } else if (value.vt == VT_BSTR) {
        std::printf("%ls = \"%ls\"\n", argv[2], value.bstrVal);
    } else if (value.vt == VT_I4) {
        std::printf("%ls = %ld\n", argv[2], static_cast<long>(value.lVal));
    }
    VariantClear(&value);
    mib->Dispose();  // closes the device
    return status == 0 ? 0 : 1;
}
