#include "NamedMutexCase.h"

namespace bench {

NamedMutexCase::NamedMutexCase(const std::string& id) : BenchCase(id, Unit::NanosecondsPerOp)
{
}

NamedMutexCase::~NamedMutexCase()
{
    End();
}

bool NamedMutexCase::Begin()
{
    m_mutex = CreateMutexW(nullptr, FALSE, L"orvane-bench-mutex");
    return m_mutex != nullptr;
}

unsigned long long NamedMutexCase::Step()
{
    const DWORD waited = WaitForSingleObject(m_mutex, INFINITE);
    return waited == WAIT_OBJECT_0 && ReleaseMutex(m_mutex) ? 1 : 0;
}

void NamedMutexCase::End()
{
    if (m_mutex != nullptr) {
        CloseHandle(m_mutex);
        m_mutex = nullptr;
    }
}

}  // namespace bench
