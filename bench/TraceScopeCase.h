#pragma once

#include "BenchCase.h"
#include "ShortcutOffKernel.h"
#include "logging/CLogModule.h"

namespace bench {

// A function trace scope (entry and exit) of a library module with
// logging off, as every traced function of the library opens one. With
// `shortcutOff` the scopes run on ShortcutOffKernel: the figure before
// the silent-module shortcut.
class TraceScopeCase : public BenchCase {
public:
    TraceScopeCase(const std::string& id, QVLogging::CLogModule* module, bool shortcutOff);
    ~TraceScopeCase() override;

    bool Begin() override;
    unsigned long long Step() override;
    void End() override;
    unsigned long OpsPerStep() const override;

private:
    QVLogging::CLogModule* m_module;
    bool m_shortcutOff;
    ShortcutOffKernel m_kernel;
    QVWinApi::IKernelApi* m_savedKernel = nullptr;
};

}  // namespace bench
