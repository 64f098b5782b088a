// A stand-in for the family's management object run-time, with the entry
// points the library calls. It answers from the management objects of
// orvane-devsim.exe, which serves them over HTTP at /mib: the descriptor's
// address is "host" or "host:port" of the simulator's web server (port
// 8080 when none is given). A port name is a USB device whose configuration
// function's device path the test gave with StandInUsbPath: the requests
// are written to that path and the answers read from it, as the simulator's
// web site answers on the virtual USB printer's configuration function.
//
// For the tests it also exports StandInCalls (how often an entry point was
// called since the library was loaded or since StandInReset), StandInFail
// (an entry point to fail with a status, 0 to stop), StandInLastDescriptor
// (the descriptor and the address text given to the last open) and
// StandInUsbPath. Built for the tests only.
#include <winsock2.h>
#include <ws2tcpip.h>

#include <cstdlib>
#include <cstring>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "api/DornRTLEntryPoints.h"

using Orvane::DornHandle;

namespace {

// Statuses of this stand-in.
constexpr unsigned long kNoDevice = 2;
constexpr unsigned long kNoSuchObject = 3;
constexpr unsigned long kEndOfMib = 4;
constexpr unsigned long kRefused = 5;
constexpr unsigned long kBufferTooSmall = 6;
constexpr unsigned long kBadArgument = 7;

constexpr unsigned long kInteger = 2;
constexpr unsigned long kText = 4;

struct Device {
    std::string host;
    std::string port;
    // A USB device's configuration channel; empty for a network device.
    std::wstring usbPath;
};

// The time a USB request may take.
constexpr DWORD kUsbTimeoutMs = 5000;

std::set<Device*> g_devices;
std::map<std::string, std::wstring> g_usbPaths;
std::map<std::string, long> g_calls;
std::map<std::string, unsigned long> g_failures;
unsigned char g_lastDescriptor[32];
std::string g_lastAddress;

// Counts the call; the status the test asked this entry point to fail with,
// or 0.
unsigned long Called(const char* name)
{
    ++g_calls[name];
    const auto failure = g_failures.find(name);
    return failure == g_failures.end() ? 0 : failure->second;
}

// The request of one exchange.
std::string Request(const Device& device, const std::string& method, const std::string& target,
                    const std::string& body)
{
    return method + " " + target + " HTTP/1.0\r\nHost: " + (device.usbPath.empty() ? device.host : "localhost")
           + "\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

// The status code of a whole answer (0 when it is none) and its body.
int ReadAnswer(const std::string& reply, std::string* answer)
{
    const size_t head = reply.find("\r\n\r\n");
    if (reply.compare(0, 5, "HTTP/") != 0 || head == std::string::npos) {
        return 0;
    }
    *answer = reply.substr(head + 4);
    return std::atoi(reply.c_str() + reply.find(' ') + 1);
}

// Whether `reply` holds a whole answer: its head and Content-Length bytes.
bool Whole(const std::string& reply)
{
    const size_t head = reply.find("\r\n\r\n");
    if (head == std::string::npos) {
        return false;
    }
    const size_t length = reply.find("Content-Length: ");
    const size_t size = length < head ? std::strtoul(reply.c_str() + length + 16, nullptr, 10) : 0;
    return reply.size() >= head + 4 + size;
}

// One overlapped transfer on the channel, bounded in time; the bytes moved.
bool Transfer(HANDLE channel, bool write, char* data, DWORD size, DWORD* moved)
{
    OVERLAPPED overlapped = {};
    overlapped.hEvent = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    BOOL done = write ? WriteFile(channel, data, size, nullptr, &overlapped)
                      : ReadFile(channel, data, size, nullptr, &overlapped);
    if (!done && GetLastError() == ERROR_IO_PENDING) {
        if (WaitForSingleObject(overlapped.hEvent, kUsbTimeoutMs) != WAIT_OBJECT_0) {
            CancelIo(channel);
        }
        done = TRUE;
    }
    const bool ok = done && GetOverlappedResult(channel, &overlapped, moved, TRUE);
    CloseHandle(overlapped.hEvent);
    return ok;
}

// One exchange over a USB device's configuration channel.
int UsbExchange(const Device& device, const std::string& request, std::string* answer)
{
    const HANDLE channel = CreateFileW(device.usbPath.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                                       OPEN_EXISTING, FILE_FLAG_OVERLAPPED, nullptr);
    if (channel == INVALID_HANDLE_VALUE) {
        return 0;
    }
    std::string out = request;
    DWORD moved = 0;
    std::string reply;
    if (Transfer(channel, true, &out[0], static_cast<DWORD>(out.size()), &moved) && moved == out.size()) {
        char chunk[4096];
        while (!Whole(reply) && Transfer(channel, false, chunk, sizeof chunk, &moved) && moved != 0) {
            reply.append(chunk, moved);
        }
    }
    CloseHandle(channel);
    return ReadAnswer(reply, answer);
}

// One HTTP/1.0 exchange with the simulator; the status code (0 when there
// was no answer) and the body.
int Exchange(const Device& device, const std::string& method, const std::string& target, const std::string& body,
             std::string* answer)
{
    if (!device.usbPath.empty()) {
        return UsbExchange(device, Request(device, method, target, body), answer);
    }
    addrinfo hints = {};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    if (getaddrinfo(device.host.c_str(), device.port.c_str(), &hints, &found) != 0) {
        return 0;
    }
    SOCKET s = socket(found->ai_family, SOCK_STREAM, IPPROTO_TCP);
    const bool connected = s != INVALID_SOCKET && connect(s, found->ai_addr, static_cast<int>(found->ai_addrlen)) == 0;
    freeaddrinfo(found);
    if (!connected) {
        if (s != INVALID_SOCKET) {
            closesocket(s);
        }
        return 0;
    }
    const DWORD timeout = 5000;
    setsockopt(s, SOL_SOCKET, SO_RCVTIMEO, reinterpret_cast<const char*>(&timeout), sizeof timeout);
    const std::string request = Request(device, method, target, body);
    send(s, request.data(), static_cast<int>(request.size()), 0);
    std::string reply;
    char chunk[1024];
    int got = 0;
    while ((got = recv(s, chunk, sizeof chunk, 0)) > 0) {
        reply.append(chunk, static_cast<size_t>(got));
    }
    closesocket(s);
    return ReadAnswer(reply, answer);
}

std::string OidText(const unsigned char* oid, unsigned long length)
{
    std::string text;
    for (unsigned long i = 0; i < length; ++i) {
        text += (i == 0 ? "" : ".") + std::to_string(oid[i]);
    }
    return text;
}

// An object of an answer "OID\nTYPE\nVALUE": its identifier's bytes, its
// type code and its value's bytes.
bool ReadObject(const std::string& answer, std::vector<unsigned char>* oid, unsigned long* type,
                std::string* value)
{
    const size_t first = answer.find('\n');
    const size_t second = first == std::string::npos ? first : answer.find('\n', first + 1);
    if (second == std::string::npos) {
        return false;
    }
    oid->clear();
    const std::string text = answer.substr(0, first);
    for (size_t at = 0; at < text.size();) {
        oid->push_back(static_cast<unsigned char>(std::strtoul(text.c_str() + at, nullptr, 10)));
        const size_t dot = text.find('.', at);
        at = dot == std::string::npos ? text.size() : dot + 1;
    }
    const std::string kind = answer.substr(first + 1, second - first - 1);
    *value = answer.substr(second + 1);
    if (kind == "INTEGER") {
        *type = kInteger;
        const long number = std::strtol(value->c_str(), nullptr, 10);
        value->assign(reinterpret_cast<const char*>(&number), 4);
        return true;
    }
    *type = kText;
    return kind == "STRING";
}

// Copies what fits of `value` to `buffer`, and gives its whole length.
void Deliver(const std::string& value, unsigned char* buffer, unsigned long size, unsigned long* length)
{
    std::memcpy(buffer, value.data(), value.size() < size ? value.size() : size);
    *length = static_cast<unsigned long>(value.size());
}

// The object after `oid`: its identifier, then its value, into `buffer`.
unsigned long Next(DornHandle device, const unsigned char* oid, unsigned long oidLength, unsigned char* buffer,
                   unsigned long size, unsigned long* nextOidLength, unsigned long* valueLength, unsigned long* type)
{
    std::string answer;
    const int status = Exchange(*reinterpret_cast<Device*>(device), "GET", "/mib?next=" + OidText(oid, oidLength),
                                "", &answer);
    std::vector<unsigned char> next;
    std::string value;
    if (status == 404) {
        return kEndOfMib;
    }
    if (status != 200 || !ReadObject(answer, &next, type, &value)) {
        return kNoDevice;
    }
    if (next.size() + value.size() > size) {
        return kBufferTooSmall;
    }
    std::memcpy(buffer, next.data(), next.size());
    std::memcpy(buffer + next.size(), value.data(), value.size());
    *nextOidLength = static_cast<unsigned long>(next.size());
    *valueLength = static_cast<unsigned long>(value.size());
    return 0;
}

}  // namespace

extern "C" {

__declspec(dllexport) long StandInCalls(const char* name)
{
    const auto found = g_calls.find(name);
    return found == g_calls.end() ? 0 : found->second;
}

__declspec(dllexport) void StandInReset()
{
    g_calls.clear();
    g_failures.clear();
    g_usbPaths.clear();
}

__declspec(dllexport) void StandInFail(const char* name, unsigned long status)
{
    if (status == 0) {
        g_failures.erase(name);
    } else {
        g_failures[name] = status;
    }
}

__declspec(dllexport) void StandInUsbPath(const char* port, const wchar_t* path)
{
    g_usbPaths[port] = path;
}

__declspec(dllexport) void StandInLastDescriptor(unsigned char* descriptor, char* address, size_t size)
{
    std::memcpy(descriptor, g_lastDescriptor, sizeof g_lastDescriptor);
    std::strncpy(address, g_lastAddress.c_str(), size - 1);
    address[size - 1] = '\0';
}

unsigned long StandInOpenOsDevice(const unsigned char* descriptor, DornHandle* device)
{
    if (const unsigned long failure = Called("_OpenOsDevice@8")) {
        return failure;
    }
    std::memcpy(g_lastDescriptor, descriptor, sizeof g_lastDescriptor);
    uint64_t text = 0;
    std::memcpy(&text, descriptor + Orvane::kDornDescriptorAddressOffset, sizeof text);
    g_lastAddress = text != 0 ? reinterpret_cast<const char*>(static_cast<uintptr_t>(text)) : "";
    uint32_t type = 0;
    std::memcpy(&type, descriptor + Orvane::kDornDescriptorTypeOffset, sizeof type);
    const auto usb = g_usbPaths.find(g_lastAddress);
    if (descriptor[0] != Orvane::kDornDescriptorSize || g_lastAddress.empty()
        || (type == Orvane::kDornPortName && usb == g_usbPaths.end())
        || (type != Orvane::kDornPortName && type != Orvane::kDornIPAddress)) {
        return kNoDevice;
    }
    WSADATA data;
    WSAStartup(MAKEWORD(2, 2), &data);
    Device* made = *g_devices.insert(new Device).first;
    if (type == Orvane::kDornPortName) {
        made->usbPath = usb->second;
    } else {
        const size_t colon = g_lastAddress.rfind(':');
        made->host = g_lastAddress.substr(0, colon);
        made->port = colon == std::string::npos ? "8080" : g_lastAddress.substr(colon + 1);
    }
    *device = reinterpret_cast<DornHandle>(made);
    return 0;
}

unsigned long StandInDornRegisterEx(DornHandle device, DornHandle, DornHandle, DornHandle, DornHandle,
                                    DornHandle* registration)
{
    if (const unsigned long failure = Called("_DornRegisterEx@24")) {
        return failure;
    }
    *registration = device ^ 0x5A5A;
    return 0;
}

unsigned long StandInDornUnRegisterEx(DornHandle device, DornHandle registration)
{
    if (const unsigned long failure = Called("_DornUnRegisterEx@8")) {
        return failure;
    }
    return registration == (device ^ 0x5A5A) ? 0 : kBadArgument;
}

unsigned long StandInCloseOsDevice(DornHandle device)
{
    if (const unsigned long failure = Called("_CloseOsDevice@4")) {
        return failure;
    }
    Device* open = reinterpret_cast<Device*>(device);
    if (g_devices.erase(open) == 0) {
        return kBadArgument;
    }
    delete open;
    WSACleanup();
    return 0;
}

unsigned long StandInDornGetObjectValueEx(DornHandle device, DornHandle, const unsigned char* oid,
                                          unsigned long oidLength, unsigned char* buffer, unsigned long size,
                                          unsigned long* type, unsigned long* length)
{
    if (const unsigned long failure = Called("_DornGetObjectValueEx@32")) {
        return failure;
    }
    std::string answer;
    const int status = Exchange(*reinterpret_cast<Device*>(device), "GET", "/mib?get=" + OidText(oid, oidLength), "",
                                &answer);
    std::vector<unsigned char> found;
    std::string value;
    if (status == 404) {
        return kNoSuchObject;
    }
    if (status != 200 || !ReadObject(answer, &found, type, &value)) {
        return kNoDevice;
    }
    Deliver(value, buffer, size, length);
    return 0;
}

unsigned long StandInDornGetNextObjectValueEx(DornHandle device, DornHandle, const unsigned char* oid,
                                              unsigned long oidLength, unsigned char* buffer, unsigned long size,
                                              unsigned long* nextOidLength, unsigned long* valueLength,
                                              unsigned long* type)
{
    if (const unsigned long failure = Called("_DornGetNextObjectValueEx@36")) {
        return failure;
    }
    return Next(device, oid, oidLength, buffer, size, nextOidLength, valueLength, type);
}

unsigned long StandInDornGetNextMultiObjectValuesEx(DornHandle device, DornHandle, unsigned long* count,
                                                    unsigned long* oidLength, const unsigned char** oid,
                                                    unsigned long size, unsigned char* buffer,
                                                    unsigned long* nextOidLength, unsigned long* type,
                                                    unsigned long* valueLength)
{
    if (const unsigned long failure = Called("_DornGetNextMultiObjectValuesEx@40")) {
        return failure;
    }
    if (count == nullptr || *count != 1) {
        return kBadArgument;
    }
    return Next(device, oid[0], oidLength[0], buffer, size, nextOidLength, valueLength, type);
}

unsigned long StandInDornSetObjectValueEx(DornHandle device, DornHandle, const unsigned char* oid,
                                          unsigned long oidLength, const unsigned char* value, unsigned long type,
                                          unsigned long valueSize, unsigned char* reply, unsigned long replySize,
                                          unsigned long* replyLength)
{
    if (const unsigned long failure = Called("_DornSetObjectValueEx@40")) {
        return failure;
    }
    std::string body;
    if (type == kInteger) {
        int32_t number = 0;
        std::memcpy(&number, value, sizeof number);
        body = "INTEGER\n" + std::to_string(number);
    } else if (type == kText) {
        body = "STRING\n" + std::string(reinterpret_cast<const char*>(value), strnlen(reinterpret_cast<const char*>(value), valueSize));
    } else {
        return kBadArgument;
    }
    std::string answer;
    const int status = Exchange(*reinterpret_cast<Device*>(device), "POST", "/mib?set=" + OidText(oid, oidLength),
                                body, &answer);
    if (status == 404) {
        return kNoSuchObject;
    }
    if (status != 200) {
        return kRefused;
    }
    Deliver(answer, reply, replySize, replyLength);
    return 0;
}

}  // extern "C"
