#pragma once

#include <string>

#include "logging/CLogSourceFile.h"

namespace QVLogging {

class CLogModule;

// The trace scope of one call: an entry line when made, an exit line with
// duration and error text when destroyed, and the lines the function writes
// in between, each at the function's indentation. A null module measures
// only. Logging never changes the thread's last error.
class CLogFunction {
public:
    CLogFunction(CLogModule* module, CLogSourceFile* sourceFile, const wchar_t* functionName,
                 unsigned long line);
    // With parameter text for the entry line, formatted by `format`. A
    // non-zero `watch` marks the scope as left by an unhandled exception.
    CLogFunction(CLogModule* module, CLogSourceFile* sourceFile, const wchar_t* functionName,
                 unsigned long line, unsigned long errorCode, unsigned long watch,
                 const wchar_t* format, ...);
    virtual ~CLogFunction();
    CLogFunction(const CLogFunction&) = delete;
    CLogFunction& operator=(const CLogFunction&) = delete;

    void LogFormat(unsigned long category, unsigned long line, const wchar_t* format, ...);
    void LogString(unsigned long category, unsigned long line, const wchar_t* text, bool complete);
    // A line of `format` whose one argument is the narrow text of the `size`
    // bytes at `data`. The bytes are copied (to end them with a zero) only
    // once the line has passed the filter: a data path with logging off
    // allocates nothing for it.
    void LogBytes(unsigned long category, unsigned long line, const wchar_t* format,
                  const void* data, size_t size);
    // The last two components of the qualified name, or the name itself.
    const wchar_t* GetDisplayName();
    const std::wstring& GetFunctionClassName();

    // Non-zero makes the exit write an error line with the code's text.
    unsigned long m_errorCode = 0;

private:
    friend class CLogModule;

    void SplitNames();
    // The display name as the tail of a plain name (no template arguments,
    // at most 255 characters), without a copy; null for any other name.
    const wchar_t* PlainDisplayName() const;

    CLogSourceFile* m_sourceFile;
    unsigned long m_exceptionState;
    unsigned long m_line;
    CLogModule* m_module;
    long long m_startCount;
    std::wstring m_text;
    const wchar_t* m_functionName;
    bool m_namesSplit = false;
    // The entry line's "Name, " still to lead the scope's text: it is put
    // there when a line of the scope first passes the filter.
    bool m_entryNamePending = false;
    std::wstring m_className;
    std::wstring m_displayName;
};

// Writes "Return: TRUE" or "Return: FALSE" and makes false an error (code 1).
void LogReturnBool(CLogFunction* scope, bool value);

}  // namespace QVLogging
