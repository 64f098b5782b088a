#include "common/ErrorText.h"

#include <windows.h>

#include <cstdio>

namespace tools {

namespace {

const char* StreamErrorName(unsigned long code)
{
    switch (code) {
    case 0: return "no error";
    case ERROR_GEN_FAILURE: return "general failure";
    case ERROR_DEV_NOT_EXIST: return "device gone";
    case ERROR_BUSY: return "busy";
    case ERROR_OPERATION_ABORTED: return "aborted";
    case ERROR_TIMEOUT: return "timeout";
    default: return nullptr;
    }
}

std::string SystemMessage(unsigned long code)
{
    char* buffer = nullptr;
    const DWORD length = FormatMessageA(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM
                                            | FORMAT_MESSAGE_IGNORE_INSERTS,
                                        nullptr, code, 0, reinterpret_cast<char*>(&buffer), 0, nullptr);
    std::string message = length != 0 && buffer != nullptr ? std::string(buffer, length) : std::string();
    LocalFree(buffer);
    while (!message.empty() && (message.back() == '\n' || message.back() == '\r' || message.back() == ' '
                                || message.back() == '.')) {
        message.pop_back();
    }
    return message.empty() ? "unknown error" : message;
}

}  // namespace

std::string ErrorText::Describe(unsigned long code)
{
    const char* name = StreamErrorName(code);
    return std::to_string(code) + " (" + (name != nullptr ? std::string(name) : SystemMessage(code)) + ")";
}

std::string ErrorText::Status(unsigned long status)
{
    char text[32];
    std::snprintf(text, sizeof(text), "status 0x%08lX", status);
    return text;
}

}  // namespace tools
