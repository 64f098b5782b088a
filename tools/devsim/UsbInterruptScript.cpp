#include "devsim/UsbInterruptScript.h"

#include <utility>

namespace devsim {

namespace {

constexpr int kConfig = USBPRINTER_FUNCTION_CONFIG;
constexpr size_t kReplySize = 8;

}  // namespace

UsbInterruptScript::UsbInterruptScript(usbprinter::VirtualUsbPrinter& printer, EventLog& log,
                                       UsbInterruptPlan plan)
    : m_printer(printer), m_log(log), m_plan(std::move(plan))
{
}

void UsbInterruptScript::Start()
{
    for (unsigned long i = 0; i < m_plan.quiet; ++i) {
        m_printer.AnswerControl(kConfig, {});
    }
}

void UsbInterruptScript::Step()
{
    const bool more = m_next < m_plan.codes.size() || m_plan.unplugAtEnd;
    if (!more || m_printer.HeldControls(kConfig) == 0) {
        m_heldSince = 0;
        return;
    }
    const ULONGLONG now = GetTickCount64();
    if (m_heldSince == 0) {
        m_heldSince = now;
    }
    if (now - m_heldSince < m_plan.delayMs) {
        return;
    }
    m_heldSince = 0;
    if (m_next < m_plan.codes.size()) {
        std::vector<unsigned char> reply(kReplySize, 0);
        reply[0] = m_plan.codes[m_next++];
        m_printer.AnswerControl(kConfig, reply);
        m_log.Line("usb interrupt " + std::to_string(reply[0]) + " raised");
        return;
    }
    m_plan.unplugAtEnd = false;
    m_printer.Unplug(kConfig);
    m_log.Line("usb configuration function unplugged");
}

}  // namespace devsim
