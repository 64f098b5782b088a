#include "utils/CDisposable.h"

#include <cxxabi.h>
#include <windows.h>

#include <cstdlib>
#include <map>
#include <mutex>
#include <typeindex>

#include "logging/LogTrace.h"

QV_LOG_SOURCE_FILE()

namespace QVUtils {

CDisposable::~CDisposable()
{
    m_typeName.clear();
}

unsigned long CDisposable::AddRefImpl()
{
    QV_LOG_FUNCTION(g_pUtilsLog, L"QVUtils::CDisposable::AddRefImpl");
    InterlockedIncrement(&m_refCount);
    QV_LOG_INFO(0, L"%s (%p) ref is %d", TypeName().c_str(), this, static_cast<int>(m_refCount));
    // The count is read again: another thread may have changed it meanwhile.
    return static_cast<unsigned long>(m_refCount);
}

unsigned long CDisposable::DisposeImpl()
{
    QV_LOG_FUNCTION(g_pUtilsLog, L"QVUtils::CDisposable::DisposeImpl");
    const unsigned long count = static_cast<unsigned long>(InterlockedDecrement(&m_refCount));
    QV_LOG_INFO(0, L"%s (%p) ref is %d", TypeName().c_str(), this, static_cast<int>(m_refCount));
    // Only the thread whose decrement reached 0 deletes; a count that was
    // already 0 wraps and the object stays.
    if (count == 0 && !m_keepAtZero) {
        delete this;
    }
    return count;
}

void CDisposable::SetKeepAtZeroImpl(bool keep)
{
    m_keepAtZero = keep;
}

bool CDisposable::IsKeepAtZeroImpl() const
{
    return m_keepAtZero;
}

const std::wstring& CDisposable::TypeName()
{
    if (m_typeName.empty()) {
        if (const char* name = GetRuntimeTypeName()) {
            // Widened byte by byte with sign extension, no code page.
            for (const char* p = name; *p; ++p) {
                m_typeName.push_back(static_cast<wchar_t>(static_cast<signed char>(*p)));
            }
        }
    }
    return m_typeName;
}

const char* UndecoratedTypeName(const std::type_info& type)
{
    static std::mutex lock;
    static std::map<std::type_index, std::string> names;

    std::lock_guard<std::mutex> guard(lock);
    auto found = names.find(type);
    if (found == names.end()) {
        int status = 0;
        char* demangled = abi::__cxa_demangle(type.name(), nullptr, nullptr, &status);
        found = names.emplace(type, status == 0 && demangled ? demangled : type.name()).first;
        std::free(demangled);
    }
    return found->second.c_str();
}

}  // namespace QVUtils
