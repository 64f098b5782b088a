#include "TraceScopeCase.h"

#include "logging/LogTrace.h"

QV_LOG_SOURCE_FILE()

namespace bench {

namespace {

// The scope of one traced call that does nothing else.
__attribute__((noinline)) void TracedCall(QVLogging::CLogModule* module)
{
    QV_LOG_FUNCTION(module, L"bench::TraceScopeCase::TracedCall");
}

}  // namespace

TraceScopeCase::TraceScopeCase(const std::string& id, QVLogging::CLogModule* module, bool shortcutOff)
    : BenchCase(id, Unit::NanosecondsPerOp), m_module(module), m_shortcutOff(shortcutOff)
{
}

TraceScopeCase::~TraceScopeCase()
{
    End();
}

bool TraceScopeCase::Begin()
{
    if (m_shortcutOff) {
        m_savedKernel = g_pKernelApi;
        g_pKernelApi = &m_kernel;
    }
    return true;
}

unsigned long long TraceScopeCase::Step()
{
    for (unsigned long i = 0; i < OpsPerStep(); ++i) {
        TracedCall(m_module);
    }
    return 1;
}

void TraceScopeCase::End()
{
    if (m_savedKernel != nullptr) {
        g_pKernelApi = m_savedKernel;
        m_savedKernel = nullptr;
    }
}

unsigned long TraceScopeCase::OpsPerStep() const
{
    // Without the shortcut a scope waits on the wineserver: one at a time.
    return m_shortcutOff ? 1 : 100;
}

}  // namespace bench
