#pragma once

// The properties of a function instance that carry a WSD device's address,
// and the key that names the port a plug-and-play instance stands behind.
#include <windows.h>
#include <propsys.h>

#include <string>

#include "winapi/IComApi.h"

namespace Orvane {

// {A45C254E-DF1C-4EFD-8020-67D146A850E0}, 15: a text.
inline constexpr PROPERTYKEY PKEY_Device_LocationInfo = {
    {0xa45c254e, 0xdf1c, 0x4efd, {0x80, 0x20, 0x67, 0xd1, 0x46, 0xa8, 0x50, 0xe0}}, 15};
// {656A3BB3-ECC0-43FD-8477-4AE0404A96CD}, 0x1003 and 0x4000: lists of texts.
inline constexpr PROPERTYKEY PKEY_PNPX_XAddrs = {
    {0x656a3bb3, 0xecc0, 0x43fd, {0x84, 0x77, 0x4a, 0xe0, 0x40, 0x4a, 0x96, 0xcd}}, 0x1003};
inline constexpr PROPERTYKEY PKEY_PNPX_ServiceAddress = {
    {0x656a3bb3, 0xecc0, 0x43fd, {0x84, 0x77, 0x4a, 0xe0, 0x40, 0x4a, 0x96, 0xcd}}, 0x4000};
// The port key is compared by the text of its format identifier.
inline constexpr const wchar_t* kPortKeyFormatId = L"{F01FAC5D-E5F6-485F-A8C6-27446425998C}";
inline constexpr DWORD kPortKeyPid = 2;

inline bool SameKey(const PROPERTYKEY& a, const PROPERTYKEY& b)
{
    return a.pid == b.pid && ::IsEqualGUID(a.fmtid, b.fmtid);
}

// The key's format identifier as "{XXXXXXXX-...}".
inline std::wstring FormatIdText(const PROPERTYKEY& key)
{
    wchar_t text[40] = {};
    g_pComApi->StringFromGUID2(key.fmtid, text, 40);
    return text;
}

}  // namespace Orvane
