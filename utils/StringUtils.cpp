#include "utils/StringUtils.h"

#include <windows.h>

#include <cstdio>
#include <cwchar>
#include <cwctype>

#include "winapi/IKernelApi.h"

namespace StringUtils {

namespace {

constexpr wchar_t kDigits[] = L"0123456789";

// Exactly four dotted numbers up to 255, nothing after them.
bool IsDottedQuad(const std::wstring& text)
{
    unsigned int a = 0, b = 0, c = 0, d = 0;
    wchar_t extra = 0;
    return std::swscanf(text.c_str(), L"%3u.%3u.%3u.%3u%lc", &a, &b, &c, &d, &extra) == 4
        && a <= 255 && b <= 255 && c <= 255 && d <= 255;
}

}  // namespace

bool EndsWith(const std::wstring& text, const std::wstring& tail)
{
    return tail.size() <= text.size()
        && text.compare(text.size() - tail.size(), tail.size(), tail) == 0;
}

bool StartsWith(const std::wstring& text, const std::wstring& head)
{
    return head.size() <= text.size() && text.compare(0, head.size(), head) == 0;
}

std::wstring Utf8ToWide(const char* text)
{
    if (!text || !*text) {
        return std::wstring();
    }
    const int size = g_pKernelApi->MultiByteToWideChar(CP_UTF8, 0, text, -1, nullptr, 0);
    if (size <= 1) {
        return std::wstring();
    }
    std::wstring wide(static_cast<size_t>(size), L'\0');
    g_pKernelApi->MultiByteToWideChar(CP_UTF8, 0, text, -1, &wide[0], size);
    wide.resize(static_cast<size_t>(size - 1));
    return wide;
}

std::string WideToUtf8(const wchar_t* text)
{
    if (!text || !*text) {
        return std::string();
    }
    const int size = g_pKernelApi->WideCharToMultiByte(CP_UTF8, 0, text, -1, nullptr, 0, nullptr,
                                                       nullptr);
    if (size <= 1) {
        return std::string();
    }
    std::string narrow(static_cast<size_t>(size), '\0');
    g_pKernelApi->WideCharToMultiByte(CP_UTF8, 0, text, -1, &narrow[0], size, nullptr, nullptr);
    narrow.resize(static_cast<size_t>(size - 1));
    return narrow;
}

bool StringToGuid(const std::wstring& text, GUID& guid)
{
    if (text.empty()) {
        return false;
    }
    unsigned int data1 = 0, data2 = 0, data3 = 0, data4[8] = {};
    const int fields = std::swscanf(text.c_str(), L"{%8x-%4x-%4x-%2x%2x-%2x%2x%2x%2x%2x%2x}",
                                    &data1, &data2, &data3, &data4[0], &data4[1], &data4[2],
                                    &data4[3], &data4[4], &data4[5], &data4[6], &data4[7]);
    if (fields != 11) {
        return false;
    }
    guid.Data1 = data1;
    guid.Data2 = static_cast<unsigned short>(data2);
    guid.Data3 = static_cast<unsigned short>(data3);
    for (int i = 0; i < 8; ++i) {
        guid.Data4[i] = static_cast<unsigned char>(data4[i]);
    }
    return true;
}

std::wstring GuidToString(const GUID& guid)
{
    wchar_t text[40];
    std::swprintf(text, sizeof text / sizeof text[0],
                  L"{%08lX-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X}", guid.Data1, guid.Data2,
                  guid.Data3, guid.Data4[0], guid.Data4[1], guid.Data4[2], guid.Data4[3],
                  guid.Data4[4], guid.Data4[5], guid.Data4[6], guid.Data4[7]);
    return text;
}

std::wstring ReplaceAll(std::wstring text, const std::wstring& from, const std::wstring& to)
{
    if (from.empty()) {
        return text;
    }
    for (size_t at = text.find(from); at != std::wstring::npos; at = text.find(from, at + to.size())) {
        text.replace(at, from.size(), to);
    }
    return text;
}

bool SplitHostPort(const std::wstring& address, std::wstring& host, std::wstring& port)
{
    const size_t found = address.find_first_of(L":.");
    if (found == std::wstring::npos) {
        return false;
    }
    if (address[found] == L'.') {
        const size_t colon = address.find(L':', found);
        host = address.substr(0, colon);
        port = colon == std::wstring::npos ? std::wstring() : address.substr(colon + 1);
        return true;
    }
    if (address[0] != L'[') {
        host = address;
        port.clear();
        return true;
    }
    const size_t close = address.find(L']');
    if (close == std::wstring::npos) {
        return false;
    }
    host = address.substr(1, close - 1);
    port = close + 1 < address.size() && address[close + 1] == L':' ? address.substr(close + 2)
                                                                    : std::wstring();
    return true;
}

bool IsIPv6Address(const std::wstring& text)
{
    if (text.empty()) {
        return false;
    }
    int colons = 0;
    int doubleColons = 0;
    for (size_t i = 0; i < text.size(); ++i) {
        const wchar_t ch = text[i];
        if (ch == L':') {
            if (++colons > 7) {
                return false;
            }
            if (i + 1 < text.size() && text[i + 1] == L':' && ++doubleColons > 1) {
                return false;
            }
        } else if (ch == L'/' || ch == L'%') {
            return text.find_first_not_of(kDigits, i + 1) == std::wstring::npos;
        } else if (ch == L'.') {
            // The group holding the '.' and all up to the end of the address part
            // must be a dotted quad behind a ':'.
            const size_t groupStart = text.rfind(L':', i);
            const size_t end = text.find_first_of(L"/%", i);
            if (groupStart == std::wstring::npos
                || !IsDottedQuad(text.substr(groupStart + 1, end - groupStart - 1))) {
                return false;
            }
            return end == std::wstring::npos
                || text.find_first_not_of(kDigits, end + 1) == std::wstring::npos;
        } else if (!std::iswxdigit(ch)) {
            return false;
        }
    }
    return true;
}

bool IsIPv4Address(const std::wstring& text)
{
    unsigned int a = 0, b = 0, c = 0, d = 0, port = 0;
    wchar_t separator = 0, extra = 0;
    const int fields = std::swscanf(text.c_str(), L"%3u.%3u.%3u.%3u%lc%u%lc", &a, &b, &c, &d,
                                    &separator, &port, &extra);
    if (a > 255 || b > 255 || c > 255 || d > 255) {
        return false;
    }
    return fields == 4 || (fields == 6 && separator == L':');
}

std::wstring Trim(const std::wstring& text)
{
    static const wchar_t kBlanks[] = L" \t\n\r";
    const size_t first = text.find_first_not_of(kBlanks);
    if (first == std::wstring::npos) {
        return std::wstring();
    }
    return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

}  // namespace StringUtils
