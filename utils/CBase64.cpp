#include "utils/CBase64.h"

#include "logging/LogTrace.h"

QV_LOG_SOURCE_FILE()

namespace QVCrypt {

namespace {

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr size_t kGroupsPerLine = 19;

}  // namespace

template <typename T>
CBase64<T>::CBase64(const T* text)
{
    QV_LOG_FUNCTION(g_pUtilsLog, L"QVCrypt::CBase64::CBase64");
    if (text == nullptr) {
        return;
    }
    const std::basic_string<T> input(text);
    size_t groups = 0;
    for (size_t i = 0; i < input.size(); i += 3) {
        const size_t count = input.size() - i < 3 ? input.size() - i : 3;
        unsigned long bits = 0;
        for (size_t k = 0; k < 3; ++k) {
            bits = bits << 8 | (k < count ? static_cast<unsigned long>(input[i + k]) & 0xFF : 0);
        }
        for (size_t k = 0; k < 4; ++k) {
            m_strEncoded += static_cast<T>(k <= count ? kAlphabet[(bits >> (18 - 6 * k)) & 0x3F] : '=');
        }
        if (++groups % kGroupsPerLine == 0) {
            m_strEncoded += static_cast<T>('\r');
            m_strEncoded += static_cast<T>('\n');
        }
    }
    m_ulLength = static_cast<unsigned long>(m_strEncoded.size());
}

template <typename T>
CBase64<T>::~CBase64() = default;

template class CBase64<wchar_t>;

}  // namespace QVCrypt
