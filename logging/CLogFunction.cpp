#include "logging/CLogFunction.h"

#include <cstdarg>
#include <string_view>

#include "logging/CLastErrorRestore.h"
#include "logging/CLogModule.h"
#include "logging/CPerformanceCounter.h"
#include "logging/LogFlags.h"
#include "utils/CWin32Exception.h"

namespace QVLogging {

namespace {

constexpr size_t kMaxNameLength = 255;

}  // namespace

CLogFunction::CLogFunction(CLogModule* module, CLogSourceFile* sourceFile,
                           const wchar_t* functionName, unsigned long line)
    : m_sourceFile(sourceFile), m_exceptionState(0), m_line(line), m_module(module),
      m_startCount(CPerformanceCounter::Now()), m_functionName(functionName)
{
    LogString(kCategoryEntry, line, GetDisplayName(), true);
}

CLogFunction::CLogFunction(CLogModule* module, CLogSourceFile* sourceFile,
                           const wchar_t* functionName, unsigned long line,
                           unsigned long errorCode, unsigned long watch, const wchar_t* format, ...)
    : m_errorCode(errorCode), m_sourceFile(sourceFile), m_exceptionState(watch != 0 ? 3 : 0),
      m_line(line), m_module(module), m_startCount(CPerformanceCounter::Now()),
      m_functionName(functionName)
{
    if (format == nullptr || *format == L'\0') {
        LogString(kCategoryEntry, line, GetDisplayName(), true);
        return;
    }
    // The parameters follow the name on the entry line. Should the line be
    // filtered out, the name stays pending and leads the next line that is
    // written; the name is copied into the text only then.
    CLastErrorRestore lastError;
    m_entryNamePending = true;
    if (m_module != nullptr) {
        va_list args;
        va_start(args, format);
        m_module->LogFormattedString(this, kCategoryEntry | kCategoryParameters, format, args);
        va_end(args);
    }
}

CLogFunction::~CLogFunction()
{
    if (QVUtils::CWin32Exception::GetLivingCount() < 1) {
        LogString(kCategoryExit, 0, GetDisplayName(), true);
    } else {
        // A structured fault is on its way through this function.
        LogString(kCategoryExit, 0, GetDisplayName(), false);
        LogString(kCategoryExit, 0, L"   *** UNHANDLED EXCEPTION PENDING ***", true);
    }
}

void CLogFunction::LogFormat(unsigned long category, unsigned long line, const wchar_t* format, ...)
{
    CLastErrorRestore lastError;
    m_line = line;
    if (m_module != nullptr) {
        va_list args;
        va_start(args, format);
        m_module->LogFormattedString(this, category, format, args);
        va_end(args);
    }
}

void CLogFunction::LogString(unsigned long category, unsigned long line, const wchar_t* text,
                             bool complete)
{
    CLastErrorRestore lastError;
    m_line = line;
    if (m_module != nullptr) {
        m_module->LogSimpleString(this, category, text, complete);
    }
}

void CLogFunction::LogBytes(unsigned long category, unsigned long line, const wchar_t* format,
                            const void* data, size_t size)
{
    CLastErrorRestore lastError;
    m_line = line;
    if (m_module != nullptr) {
        m_module->LogBytes(this, category, format, static_cast<const char*>(data), size);
    }
}

const wchar_t* CLogFunction::GetDisplayName()
{
    if (const wchar_t* plain = PlainDisplayName()) {
        return plain;
    }
    SplitNames();
    return m_displayName.empty() ? m_functionName : m_displayName.c_str();
}

const std::wstring& CLogFunction::GetFunctionClassName()
{
    SplitNames();
    return m_className;
}

// "Namespace::Class<Args>::Function" gives the class "Class" and the display
// name "Class::Function": template arguments drop out, and only the first
// 255 characters of the name count. The work stays on the stack: only the
// two results are allocated, and a plain name's display name needs neither
// (PlainDisplayName).
void CLogFunction::SplitNames()
{
    if (m_namesSplit || m_functionName == nullptr) {
        return;
    }
    m_namesSplit = true;
    wchar_t buffer[kMaxNameLength];
    size_t length = 0;
    // The start positions of the components; only the last two are used.
    size_t starts[2] = {0, 0};
    size_t n = 0;
    const auto addStart = [&](size_t position) {
        starts[0] = starts[1];
        starts[1] = position;
        ++n;
    };
    if (m_functionName[0] != L':') {
        addStart(0);
    }
    int depth = 0;
    for (const wchar_t* p = m_functionName; *p != L'\0' && length < kMaxNameLength; ++p) {
        if (*p == L'<') {
            ++depth;
        }
        if (depth == 0) {
            buffer[length++] = *p;
            if (*p == L':' && p[1] == L':') {
                addStart(length - 1 + 2);
            }
        }
        if (*p == L'>') {
            --depth;
        }
    }
    const std::wstring_view text(buffer, length);
    if (n >= 2) {
        m_className = text.substr(starts[0], starts[1] - 2 - starts[0]);
    }
    const size_t from = n >= 2 ? starts[0] : (n == 1 ? starts[1] : 0);
    m_displayName = from <= text.size() ? text.substr(from) : std::wstring_view();
}

// The same starts as SplitNames finds, on the name itself: with nothing to
// drop, the display name is the name's tail and needs no copy.
const wchar_t* CLogFunction::PlainDisplayName() const
{
    if (m_functionName == nullptr) {
        return nullptr;
    }
    size_t starts[2] = {0, 0};
    size_t n = 0;
    const auto addStart = [&](size_t position) {
        starts[0] = starts[1];
        starts[1] = position;
        ++n;
    };
    if (m_functionName[0] != L':') {
        addStart(0);
    }
    size_t length = 0;
    for (; m_functionName[length] != L'\0'; ++length) {
        const wchar_t c = m_functionName[length];
        if (length >= kMaxNameLength || c == L'<' || c == L'>') {
            return nullptr;
        }
        if (c == L':' && m_functionName[length + 1] == L':') {
            addStart(length + 2);
        }
    }
    const size_t from = n >= 2 ? starts[0] : (n == 1 ? starts[1] : 0);
    return from < length ? m_functionName + from : nullptr;
}

void LogReturnBool(CLogFunction* scope, bool value)
{
    if (scope == nullptr) {
        return;
    }
    scope->LogFormat(kCategoryReturn, 0, L"Return: %s", value ? L"TRUE" : L"FALSE");
    scope->m_errorCode = value ? 0 : 1;
}

}  // namespace QVLogging
