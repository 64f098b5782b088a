#include "utils/CSETranslator.h"

#include <cstdint>

#include "utils/CAccessViolation.h"

// Entered as if called from the faulting instruction, with that instruction's
// address as return address. The frame pointer lets the unwinder give the
// faulting frame back its exact stack pointer, whatever its alignment.
asm(R"(
    .text
    .p2align 4
    .def QVUtilsFaultStub; .scl 3; .type 32; .endef
    .seh_proc QVUtilsFaultStub
QVUtilsFaultStub:
    pushq %rbp
    .seh_pushreg %rbp
    movq %rsp, %rbp
    .seh_setframe %rbp, 0
    .seh_endprologue
    andq $-16, %rsp
    subq $32, %rsp
    call QVUtilsThrowPendingFault
    int3
    .seh_endproc
)");

extern "C" void QVUtilsFaultStub();

extern "C" [[noreturn]] void QVUtilsThrowPendingFault()
{
    QVUtils::CSETranslator::ThrowPending();
}

namespace QVUtils {

namespace {

constexpr DWORD kSeverityMask = 0xC0000000;
constexpr DWORD kSeverityError = 0xC0000000;

bool IsTranslated(const EXCEPTION_RECORD& record)
{
    return (record.ExceptionCode & kSeverityMask) == kSeverityError
        && record.ExceptionCode != EXCEPTION_STACK_OVERFLOW
        && (record.ExceptionFlags & EXCEPTION_NONCONTINUABLE) == 0;
}

}  // namespace

CSETranslator::CSETranslator()
    : m_pPrevious(static_cast<CSETranslator*>(::TlsGetValue(ThreadSlot())))
{
    ::TlsSetValue(ThreadSlot(), this);
}

CSETranslator::~CSETranslator()
{
    ::TlsSetValue(ThreadSlot(), m_pPrevious);
}

void CSETranslator::Translate(unsigned int code, EXCEPTION_POINTERS* pointers)
{
    const EXCEPTION_RECORD& record = *pointers->ExceptionRecord;
    if (code == EXCEPTION_ACCESS_VIOLATION) {
        throw CAccessViolation(record.ExceptionAddress, record.ExceptionInformation[0] == 1,
                               reinterpret_cast<void*>(record.ExceptionInformation[1]));
    }
    throw CWin32Exception(code, record.ExceptionAddress);
}

void CSETranslator::ThrowPending()
{
    auto* scope = static_cast<CSETranslator*>(::TlsGetValue(ThreadSlot()));
    EXCEPTION_RECORD record = scope->m_record;
    EXCEPTION_POINTERS pointers = {&record, nullptr};
    Translate(record.ExceptionCode, &pointers);
}

LONG CALLBACK CSETranslator::OnException(EXCEPTION_POINTERS* pointers)
{
    auto* scope = static_cast<CSETranslator*>(::TlsGetValue(ThreadSlot()));
    if (!scope || !IsTranslated(*pointers->ExceptionRecord)) {
        return EXCEPTION_CONTINUE_SEARCH;
    }
    scope->m_record = *pointers->ExceptionRecord;
    // Resume in the stub as if the faulting instruction had called it.
    CONTEXT* context = pointers->ContextRecord;
    context->Rsp -= sizeof(DWORD64);
    *reinterpret_cast<DWORD64*>(context->Rsp) = context->Rip;
    context->Rip = reinterpret_cast<DWORD64>(&QVUtilsFaultStub);
    return EXCEPTION_CONTINUE_EXECUTION;
}

DWORD CSETranslator::ThreadSlot()
{
    static const DWORD s_slot = [] {
        const DWORD slot = ::TlsAlloc();
        ::AddVectoredExceptionHandler(1, &CSETranslator::OnException);
        return slot;
    }();
    return s_slot;
}

}  // namespace QVUtils
