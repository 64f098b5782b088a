#pragma once

// The regular expressions (ECMAScript, case-sensitive) by which the resolver
// recognises port and printer names and pulls addresses out of them.
namespace Orvane {

// "\\server\share" or "//server/share": group 1 the server, group 2 the share.
inline constexpr const wchar_t* UNC_SERVER_PATTERN =
    LR"re((?:(?:\\\\|//)([^\\/]+)(?:\\|/)([^\\/]+)))re";
// "[v6 address]" with an optional ":port": group 1 the address, group 2 the port.
inline constexpr const wchar_t* BRACKET_ADDRESS_PATTERN =
    LR"re((?:\[)([^\[\]]+)(?:\])(?:(?::)([0-9]+))?)re";
// A dotted quad of parts up to 255; group 0 (and 1) the address.
inline constexpr const wchar_t* IPV4_PATTERN =
    LR"re((\b(?:(?:25[0-5]|2[0-4][0-9]|[01]?[0-9][0-9]?)\.){3}(?:25[0-5]|2[0-4][0-9]|[01]?[0-9][0-9]?)\b))re";
// A looser dotted quad, only to reach the port behind it: group 1.
inline constexpr const wchar_t* IPV4_PORT_PATTERN =
    LR"re((?:(?:\b(?:\d{1,3}\.){3}(?:\d{1,3})\b)(?:(?::)([0-9]+))?))re";
// An optional http/https/ftp/ftps scheme, the host (group 1), an optional
// port (group 2) and a slash.
inline constexpr const wchar_t* URL_HOST_PATTERN =
    LR"re((?:(?:(?:(?:ht|f)tp(?:s?))\://)?)([^/:]+)(?:(?:(?::)(\d+))?/))re";
// LPT1: to LPT256:, colon required; group 1 the number.
inline constexpr const wchar_t* LPT_PORT_PATTERN =
    LR"re(\bLPT([1-9]|[1-9][0-9]|1[0-9][0-9]|2[0-4][0-9]|25[0-6])\:)re";
// Two backslashes at the start.
inline constexpr const wchar_t* UNC_PREFIX_PATTERN = LR"re(^\\\\)re";
// Two backslashes and "http://" at the start: an internet printing queue.
inline constexpr const wchar_t* UNC_HTTP_PREFIX_PATTERN = LR"re(^\\\\http://)re";
// USB001 to USB999.
inline constexpr const wchar_t* USB_PORT_PATTERN = LR"re(\bUSB(?!000)\d{3}$)re";
// DOT4_001 to DOT4_999.
inline constexpr const wchar_t* DOT4_PORT_PATTERN = LR"re(\bDOT4_(?!000)\d{3}$)re";
// TS001 to TS999: terminal service ports.
inline constexpr const wchar_t* TS_PORT_PATTERN = LR"re(\bTS(?!000)\d{3}$)re";
// A system WSD port: "WSD-" or "wsd-", a GUID with or without braces, a dot,
// at least one zero and at least one more digit.
inline constexpr const wchar_t* WSD_PORT_PATTERN =
    LR"re((?:^(WSD|wsd)\-)(\b(\{){0,1}[0-9a-fA-F]{8}\-[0-9a-fA-F]{4}\-[0-9a-fA-F]{4}\-[0-9a-fA-F]{4}\-[0-9a-fA-F]{12}(\}){0,1}\b)(?:\.0{1,}\d+$))re";

}  // namespace Orvane
