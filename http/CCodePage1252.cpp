#include "http/CCodePage1252.h"

#include <memory>
#include <new>

#include "winapi/IKernelApi.h"

namespace QVIOStack {

namespace {

constexpr UINT kCodePage = 1252;

}  // namespace

std::string CCodePage1252::ToNarrow(const std::wstring& text)
{
    if (text.empty()) {
        return std::string();
    }
    const int wideLength = static_cast<int>(text.size());
    const int length = g_pKernelApi->WideCharToMultiByte(kCodePage, 0, text.data(), wideLength, nullptr, 0,
                                                         nullptr, nullptr);
    std::string narrow(static_cast<size_t>(length), '\0');
    if (length == 0
        || g_pKernelApi->WideCharToMultiByte(kCodePage, 0, text.data(), wideLength, &narrow[0], length, nullptr,
                                             nullptr) != length) {
        throw std::bad_alloc();
    }
    return narrow;
}

bool CCodePage1252::ToWide(const char* text, unsigned long length, unsigned long limit, std::wstring& wide)
{
    wide.clear();
    if (length == 0) {
        return true;
    }
    std::unique_ptr<wchar_t[]> buffer(new wchar_t[limit]);
    const int count = g_pKernelApi->MultiByteToWideChar(kCodePage, 0, text, static_cast<int>(length), buffer.get(),
                                                        static_cast<int>(limit));
    if (count == 0) {
        return false;
    }
    wide.assign(buffer.get(), static_cast<size_t>(count));
    return true;
}

}  // namespace QVIOStack
