#pragma once

#include <windows.h>

namespace QVUtils {

// Turns structured faults on the current thread into C++ exceptions while an
// object of this class lives, the way a translator installed with
// _set_se_translator would; the previous one is put back at the end. Scopes
// nest.
//
// How: a process-wide vectored handler sees a fault first. On a thread with
// a live scope it keeps the fault's record in the scope and resumes the
// thread in a stub that looks called from the faulting instruction; the stub
// throws through Translate, and the exception unwinds normally from there.
//
// What it covers: error-severity exceptions that can be continued (access
// violations, division by zero, raised errors), from functions called inside
// the scope, our own or other modules' (the run-time library's formatting
// for one). Not covered: a stack overflow; a fault in an instruction the
// compiler knows cannot throw, that is one outside a call in the catching
// function itself, or in a call it proves non-throwing (an inlined builtin
// such as wcslen): there the exception reaches std::terminate. Being
// vectored, it also runs ahead of any __except of code called inside the
// scope.
class CSETranslator {
public:
    CSETranslator();
    ~CSETranslator();
    CSETranslator(const CSETranslator&) = delete;
    CSETranslator& operator=(const CSETranslator&) = delete;

    // Throws CAccessViolation for 0xC0000005, with the write flag from the
    // record's first parameter and the fault address from its second;
    // CWin32Exception for any other code.
    [[noreturn]] static void Translate(unsigned int code, EXCEPTION_POINTERS* pointers);

    // The fault caught by the handler, thrown in the thread's own context.
    [[noreturn]] static void ThrowPending();

private:
    static LONG CALLBACK OnException(EXCEPTION_POINTERS* pointers);
    static DWORD ThreadSlot();

    CSETranslator* m_pPrevious;
    EXCEPTION_RECORD m_record = {};
};

}  // namespace QVUtils
