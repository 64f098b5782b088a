#pragma once

#include <guiddef.h>

#include <string>

// Text conversions, comparisons and address parsing.
namespace StringUtils {

// Plain comparisons; false when the tail or head is longer than the text.
bool EndsWith(const std::wstring& text, const std::wstring& tail);
bool StartsWith(const std::wstring& text, const std::wstring& head);

// UTF-8 to and from wide text; null or empty gives empty.
std::wstring Utf8ToWide(const char* text);
std::string WideToUtf8(const wchar_t* text);

// "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}", hexadecimal in either case; false
// for an empty or malformed text.
bool StringToGuid(const std::wstring& text, GUID& guid);
// The same form in capitals.
std::wstring GuidToString(const GUID& guid);

// Every occurrence of `from`, left to right; an empty `from` changes nothing.
std::wstring ReplaceAll(std::wstring text, const std::wstring& from, const std::wstring& to);

// Splits "host", "a.b.c.d:port", "name.domain:port" and "[v6]:port". A text
// whose first ':' comes before any '.' and that doesn't start with '[' is an
// IPv6 address and stays whole as the host, also "name:80". False when there
// is neither ':' nor '.', or when a '[' isn't closed.
bool SplitHostPort(const std::wstring& address, std::wstring& host, std::wstring& port);

// At most 7 colons and one "::", hexadecimal digits otherwise; a '/' or '%'
// ends the address and must be followed by digits only; a '.' before the
// next ':' starts an embedded IPv4 tail.
bool IsIPv6Address(const std::wstring& text);

// Four dotted decimal numbers up to 255, optionally followed by ":port".
bool IsIPv4Address(const std::wstring& text);

// Without leading and trailing space, tab, line feed and carriage return.
std::wstring Trim(const std::wstring& text);

}  // namespace StringUtils
