#include "logging/CLogSourceFile.h"

#include <cwctype>

namespace QVLogging {

CLogSourceFile::CLogSourceFile(const wchar_t* path)
    : m_name(path != nullptr ? path : L"")
{
    for (size_t i = m_name.size(); i-- > 1;) {
        if (m_name[i] == L'\\') {
            m_name.erase(0, i + 1);
            break;
        }
    }
    for (wchar_t& c : m_name) {
        c = static_cast<wchar_t>(std::towlower(c));
    }
}

}  // namespace QVLogging
