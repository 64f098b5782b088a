#pragma once

#include <gtest/gtest.h>
#include <windows.h>

#include <string>
#include <vector>

#include "orvane64.h"

namespace peers {

// The identifiers a walk from `oid` gives, in order, until GetNextValue
// fails; the failure past the last object must be E_FAIL. At most 20 steps.
inline std::vector<std::wstring> WalkFrom(Orvane::MIBConnection* mib, std::wstring oid)
{
    std::vector<std::wstring> walked;
    for (int guard = 0; guard < 20; ++guard) {
        wchar_t next[128] = {};
        VARIANT value;
        ::VariantInit(&value);
        const unsigned long status = mib->GetNextValue(oid.c_str(), next, 128, &value);
        ::VariantClear(&value);
        if (status != 0) {
            EXPECT_EQ(static_cast<unsigned long>(E_FAIL), status);
            break;
        }
        walked.push_back(next);
        oid = next;
    }
    return walked;
}

}  // namespace peers
