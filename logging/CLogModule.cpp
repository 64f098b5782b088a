#include "logging/CLogModule.h"

#define PSAPI_VERSION 1
#include <psapi.h>

#include <cwchar>
#include <exception>
#include <memory>
#include <string>
#include <vector>

#include "logging/CLastErrorRestore.h"
#include "logging/CLogFileInfo.h"
#include "logging/CLogFunction.h"
#include "logging/CLogLock.h"
#include "logging/CLogSettings.h"
#include "logging/CLogSettingsReader.h"
#include "logging/CPerformanceCounter.h"
#include "logging/IDebugOutput.h"
#include "logging/LogFlags.h"
#include "utils/CFileVersionInfo.h"
#include "utils/CSETranslator.h"
#include "utils/CWin32Exception.h"
#include "winapi/IRegistryApi.h"

namespace QVLogging {

namespace {

const wchar_t kLoggingKey[] = L"Software\\ZQ\\QV\\Logging";
const wchar_t kLineEnd[] = L"\r\n";
constexpr long long kCounterModulus = 10000000000LL;

std::wstring Widen(const char* text)
{
    if (text == nullptr || *text == '\0') {
        return {};
    }
    const int length = g_pKernelApi->MultiByteToWideChar(CP_ACP, 0, text, -1, nullptr, 0);
    if (length <= 1) {
        return {};
    }
    std::vector<wchar_t> wide(length);
    g_pKernelApi->MultiByteToWideChar(CP_ACP, 0, text, -1, wide.data(), length);
    return wide.data();
}

std::wstring FileNamePart(const std::wstring& path)
{
    const size_t separator = path.find_last_of(L"\\/:");
    return separator == std::wstring::npos ? path : path.substr(separator + 1);
}

std::wstring WithoutExtension(const std::wstring& name)
{
    const size_t dot = name.find_last_of(L'.');
    return dot == std::wstring::npos ? name : name.substr(0, dot);
}

std::wstring ModulePath(HMODULE module)
{
    wchar_t path[MAX_PATH] = {};
    const DWORD length = g_pKernelApi->GetModuleFileNameW(module, path, MAX_PATH);
    return length < MAX_PATH ? std::wstring(path, length) : std::wstring();
}

// The file of the library that holds this code.
std::wstring LibraryPath()
{
    HMODULE library = nullptr;
    ::GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS
                             | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                         reinterpret_cast<LPCWSTR>(&LibraryPath), &library);
    return ModulePath(library);
}

}  // namespace

CLogModule::CLogModule(const char* moduleName, const char* buildDate, const char* buildTime,
                       ErrorTextCallback errorTextCallback, unsigned long /*pollSeconds*/)
    : m_errorTextCallback(errorTextCallback)
{
    g_pKernelApi->InitializeCriticalSection(&m_lock);
    try {
        const std::wstring library = WithoutExtension(FileNamePart(LibraryPath()));
        m_moduleName = Widen(moduleName);
        if (m_moduleName.empty()) {
            m_moduleName = library;
        }
        m_processName = FileNamePart(ModulePath(nullptr));
        m_builtOn = Widen(buildDate) + L" " + Widen(buildTime);
        const unsigned long processId = g_pKernelApi->GetCurrentProcessId();
        m_processTag = L"[" + std::to_wstring(processId) + L"] ";
        m_settings = new CLogSettings;
        m_lastLineCount = CPerformanceCounter::Now();
        m_regValues.Attach(library + L"[" + std::to_wstring(processId) + L"]RegValues",
                           m_processName);
        m_extMonitor.Attach(library + L"[" + std::to_wstring(processId) + L"]ExtMonitor");
        m_initialized = true;
    } catch (const std::exception&) {
        // Left uninitialised: the module stays silent.
    }
}

CLogModule::~CLogModule()
{
    g_pKernelApi->EnterCriticalSection(&m_lock);
    delete m_settings;
    m_settings = nullptr;
    m_regValues.Detach();
    m_extMonitor.Detach();
    m_initialized = false;
    g_pKernelApi->LeaveCriticalSection(&m_lock);
    g_pKernelApi->DeleteCriticalSection(&m_lock);
}

void CLogModule::ResetSettings()
{
    m_settings->m_keyWriteTime = 0;
    m_settings->m_detailLevel = 0;
    m_settings->m_categories = 0;
    m_settings->m_options = 0;
    m_settings->m_logFile = nullptr;
}

namespace {

// Lines being written on this thread, in any module. Writing a line calls
// helpers that are traced themselves (paths, files): their lines are
// dropped, so that a line never starts inside another.
thread_local int t_linesInProgress = 0;

class CLineInProgress {
public:
    CLineInProgress() { ++t_linesInProgress; }
    ~CLineInProgress() { --t_linesInProgress; }
    CLineInProgress(const CLineInProgress&) = delete;
    CLineInProgress& operator=(const CLineInProgress&) = delete;
};

}  // namespace

template <typename Write>
void CLogModule::Filtered(const wchar_t* sourceFile, unsigned long word, Write write)
{
    if (!m_initialized || t_linesInProgress > 0) {
        return;
    }
    const CLineInProgress inProgress;
    CLastErrorRestore lastError;
    CLogLock lock(m_lock);
    try {
        if (CLogSettings* settings = Filter(sourceFile, word)) {
            write(*settings);
        }
    } catch (const std::exception&) {
        // Logging never fails its caller.
    }
}

void CLogModule::LogSimpleString(const wchar_t* sourceFile, unsigned long line,
                                 unsigned long word, const wchar_t* text)
{
    Filtered(sourceFile, word, [&](CLogSettings& settings) {
        InternalLogSimpleString(settings, nullptr, line, word, text, true);
    });
}

void CLogModule::LogFormattedString(const wchar_t* sourceFile, unsigned long line,
                                    unsigned long word, const wchar_t* format, va_list args)
{
    Filtered(sourceFile, word, [&](CLogSettings& settings) {
        InternalLogFormattedString(settings, nullptr, line, word, format, args);
    });
}

namespace {

const wchar_t* SourceFileOf(const CLogFunction* scope, const CLogSourceFile* file)
{
    return scope != nullptr && file != nullptr ? file->GetName().c_str() : nullptr;
}

}  // namespace

void CLogModule::LogSimpleString(CLogFunction* scope, unsigned long word, const wchar_t* text,
                                 bool complete)
{
    Filtered(SourceFileOf(scope, scope ? scope->m_sourceFile : nullptr), word,
             [&](CLogSettings& settings) {
                 InternalLogSimpleString(settings, scope, scope ? scope->m_line : 0, word, text,
                                         complete);
             });
}

void CLogModule::LogFormattedString(CLogFunction* scope, unsigned long word,
                                    const wchar_t* format, va_list args)
{
    Filtered(SourceFileOf(scope, scope ? scope->m_sourceFile : nullptr), word,
             [&](CLogSettings& settings) {
                 InternalLogFormattedString(settings, scope, scope ? scope->m_line : 0, word,
                                            format, args);
             });
}

void CLogModule::LogBytes(CLogFunction* scope, unsigned long word, const wchar_t* format,
                          const char* data, size_t size)
{
    Filtered(SourceFileOf(scope, scope ? scope->m_sourceFile : nullptr), word,
             [&](CLogSettings& settings) {
                 const std::string text(data, size);
                 InternalLogFormat(settings, scope, scope ? scope->m_line : 0, word, format,
                                   text.c_str());
             });
}

CLogSettings* CLogModule::Filter(const wchar_t* sourceFile, unsigned long word)
{
    if (m_shortcut.Drops(*m_settings, sourceFile, word, g_pKernelApi->GetTickCount())) {
        return nullptr;
    }
    if (!m_regValues.Take()) {
        return nullptr;
    }
    CSharedRegValues* values = m_regValues.View();
    CLogSettings* settings = nullptr;
    if (values != nullptr) {
        try {
            PollSettings(*values);
            settings = values->FindSourceFileSettings(sourceFile);
            if (settings == nullptr) {
                settings = m_settings;
            }
            m_shortcut.Arm(*m_settings, values->SourceFileNames(),
                           values->m_lastPollTicks, m_pollMs);
        } catch (const std::exception&) {
            settings = nullptr;
        }
    }
    m_regValues.Release();
    return settings != nullptr && settings->Passes(word) ? settings : nullptr;
}

void CLogModule::PollSettings(CSharedRegValues& values)
{
    const bool pending = m_settings->m_logFile != nullptr ? m_settings->m_logFile->m_openPending
                                                          : m_settings->m_openPending;
    if (!pending && g_pKernelApi->GetTickCount() - values.m_lastPollTicks <= m_pollMs) {
        return;
    }
    values.m_lastPollTicks = g_pKernelApi->GetTickCount();
    ResetSettings();
    m_settings->m_openPending = false;
    CLogFilterShortcut::OnPoll();
    ReadSettings(values);
}

void CLogModule::ReadSettings(CSharedRegValues& values)
{
    HKEY globalKey = nullptr;
    if (g_pRegistryApi->RegOpenKeyExW(HKEY_CURRENT_USER, kLoggingKey, 0, KEY_READ, &globalKey)
        != ERROR_SUCCESS) {
        return;
    }
    CLogSettingsReader reader(values);
    m_pollMs = CLogSettingsReader::ReadPollMs(globalKey);
    reader.ReadLevel(globalKey, *m_settings, m_settings->m_logFile);

    const std::wstring processPath = std::wstring(kLoggingKey) + L"\\" + m_processName;
    const std::wstring modulePath = m_moduleName == WithoutExtension(m_processName)
        ? processPath : processPath + L"\\" + m_moduleName;
    HKEY moduleKey = nullptr;
    const LSTATUS moduleStatus = (m_settings->m_categories & kCategoryListModule)
        ? g_pRegistryApi->RegCreateKeyExW(HKEY_CURRENT_USER, modulePath.c_str(), 0, nullptr, 0,
                                          KEY_READ, nullptr, &moduleKey, nullptr)
        : g_pRegistryApi->RegOpenKeyExW(HKEY_CURRENT_USER, modulePath.c_str(), 0, KEY_READ,
                                        &moduleKey);
    HKEY processKey = nullptr;
    if (g_pRegistryApi->RegOpenKeyExW(HKEY_CURRENT_USER, processPath.c_str(), 0, KEY_READ,
                                      &processKey) == ERROR_SUCCESS) {
        reader.ReadLevel(processKey, *m_settings, m_settings->m_logFile);
        if (m_extMonitor.View() != nullptr) {
            m_extMonitor.View()->ReadExtMonitorSettings(processKey, m_processName);
        }
        if (moduleStatus == ERROR_SUCCESS) {
            reader.ReadLevel(moduleKey, *m_settings, m_settings->m_logFile);
            reader.ScanSourceFiles(moduleKey, processPath, *m_settings);
        }
        g_pRegistryApi->RegCloseKey(processKey);
        values.m_lastPollTicks = g_pKernelApi->GetTickCount();
    }
    if (moduleStatus == ERROR_SUCCESS) {
        g_pRegistryApi->RegCloseKey(moduleKey);
    }
    g_pRegistryApi->RegCloseKey(globalKey);
}

void CLogModule::InternalLogSimpleString(CLogSettings& settings, CLogFunction* scope,
                                         unsigned long line, unsigned long word,
                                         const wchar_t* text, bool complete)
{
    QVUtils::CSETranslator translator;
    try {
        if (scope != nullptr) {
            WriteScopeLine(settings, *scope, word, text, complete);
            return;
        }
        PrepareLogFile(settings);
        WriteLine(settings, line, word & settings.m_categories, word, text ? text : L"");
    } catch (const QVUtils::CWin32Exception& exception) {
        g_pDebugOutput->Write((std::wstring(L"Exception Exit: InternalLogSimpleString (")
                               + exception.GetMessage() + L")\r\n").c_str());
    } catch (const std::exception&) {
        // Swallowed: logging never fails its caller.
    }
}

void CLogModule::InternalLogFormattedString(CLogSettings& settings, CLogFunction* scope,
                                            unsigned long line, unsigned long word,
                                            const wchar_t* format, va_list args)
{
    QVUtils::CSETranslator translator;
    try {
        va_list counting;
        va_copy(counting, args);
        const int length = _vscwprintf(format, counting);
        va_end(counting);
        if (length < 0) {
            return;
        }
        std::vector<wchar_t> text(length + 1, L'\0');
        va_list formatting;
        va_copy(formatting, args);
        _vsnwprintf(text.data(), length, format, formatting);
        va_end(formatting);
        InternalLogSimpleString(settings, scope, line, word, text.data(), true);
    } catch (const QVUtils::CWin32Exception& exception) {
        g_pDebugOutput->Write((std::wstring(L"Exception Exit: InternalLogFormattedString (")
                               + exception.GetMessage() + L")\r\n").c_str());
    } catch (const std::exception&) {
        // Swallowed: logging never fails its caller.
    }
}

void CLogModule::InternalLogFormat(CLogSettings& settings, CLogFunction* scope,
                                   unsigned long line, unsigned long word,
                                   const wchar_t* format, ...)
{
    va_list args;
    va_start(args, format);
    InternalLogFormattedString(settings, scope, line, word, format, args);
    va_end(args);
}

// A scope's text is written once its line is complete. The exit line is
// printed at the indentation of its entry line, the lines between one step
// deeper.
void CLogModule::WriteScopeLine(CLogSettings& settings, CLogFunction& scope, unsigned long word,
                                const wchar_t* text, bool complete)
{
    if (scope.m_entryNamePending) {
        scope.m_entryNamePending = false;
        scope.m_text = scope.GetDisplayName();
        scope.m_text += L", ";
    }
    scope.m_text += text != nullptr ? text : L"";
    PrepareLogFile(settings);
    if (!complete) {
        return;
    }
    const bool exitLine = (word & kCategoryExit) != 0;
    if (exitLine) {
        if (settings.m_options & kOptionDuration) {
            _snwprintf(m_scratch, MAX_PATH, L" (Dur: %I64d us) ",
                       CPerformanceCounter::ToMicroseconds(CPerformanceCounter::Now()
                                                           - scope.m_startCount));
            scope.m_text += m_scratch;
        }
        if (scope.m_exceptionState == 2) {
            scope.m_text += L"(handled exception) ";
        } else if (scope.m_exceptionState == 3) {
            scope.m_text += L"(*unhandled exception*) ";
        }
        if (settings.m_options & kOptionIndent) {
            ShiftIndentation(settings, false);
        }
    }
    WriteLine(settings, scope.m_line, word & settings.m_categories, word, scope.m_text);
    scope.m_text.clear();
    if (word & kCategoryEntry) {
        NotifyExtMonitor(kExtMonitorClassChanged, scope.GetFunctionClassName().c_str());
        NotifyExtMonitor(kExtMonitorFunctionEntered, scope.GetDisplayName());
        if (settings.m_options & kOptionIndent) {
            ShiftIndentation(settings, true);
        }
    }
    if (exitLine) {
        if (scope.m_errorCode != 0) {
            // No filter of its own: written whenever the exit line is.
            WriteLine(settings, 0, kCategoryErrorText & settings.m_categories, kCategoryErrorText,
                      FormatErrorText(scope.m_errorCode));
        }
        NotifyExtMonitor(kExtMonitorFunctionExited, scope.GetDisplayName());
    }
}

void CLogModule::NotifyExtMonitor(int kind, const wchar_t* text)
{
    CExtMonitorSettings* monitor = m_extMonitor.View();
    if (monitor != nullptr && monitor->Attached()) {
        monitor->Notify(kind, text);
    }
}

void CLogModule::ShiftIndentation(const CLogSettings& settings, bool deeper)
{
    const auto shift = [deeper](std::wstring& indent) {
        if (deeper) {
            indent.append(2, L' ');
        } else {
            indent.erase(indent.size() >= 2 ? indent.size() - 2 : 0);
        }
    };
    if (settings.m_logFile != nullptr) {
        shift(settings.m_logFile->m_indent);
    } else if (m_regValues.Take()) {
        if (m_regValues.View() != nullptr) {
            shift(*m_regValues.View()->m_indent);
        }
        m_regValues.Release();
    }
}

void CLogModule::PrepareLogFile(CLogSettings& settings)
{
    CLogFileInfo* file = settings.m_logFile;
    if (file == nullptr || !file->m_openPending) {
        return;
    }
    file->Prepare(settings.m_options);
    if (settings.m_categories & kCategoryHeader) {
        WriteHeader(settings);
        if (settings.m_options & kOptionModuleWalk) {
            WalkModules();
        }
    }
    file->m_openPending = false;
}

void CLogModule::WriteHeader(CLogSettings& settings)
{
    const std::wstring executable = ModulePath(nullptr);
    std::wstring first = L"Module File Name: " + executable;
    WIN32_FILE_ATTRIBUTE_DATA attributes = {};
    if (g_pKernelApi->GetFileAttributesExW(executable.c_str(), GetFileExInfoStandard,
                                           &attributes)) {
        _snwprintf(m_scratch, MAX_PATH, L" (%ld bytes)",
                   static_cast<long>(attributes.nFileSizeLow));
        first += m_scratch;
    }
    const wchar_t* commandLine = g_pKernelApi->GetCommandLineW();
    const QVUtils::CFileVersionInfo version(executable.c_str());
    const wchar_t* fileVersion = version.GetFileVersion();
    const std::wstring lines[] = {
        first,
        std::wstring(L"    Command Line: ") + (commandLine ? commandLine : L""),
        std::wstring(L"    File Version: ") + (fileVersion ? fileVersion : L"<no version info>"),
        L"      Process ID: " + m_processTag,
        L"        Built on: " + m_builtOn,
        L"   Log File Name: <" + settings.m_logFile->m_fileName + L">",
    };
    for (const std::wstring& text : lines) {
        WriteLine(settings, 0, kCategoryHeader, kCategoryHeader, text);
    }
}

// Fetches each module's name of the process and writes none of them.
void CLogModule::WalkModules()
{
    HANDLE process = g_pKernelApi->GetCurrentProcess();
    DWORD needed = 0;
    if (!::EnumProcessModules(process, nullptr, 0, &needed) || needed == 0) {
        return;
    }
    std::vector<HMODULE> modules(needed / sizeof(HMODULE));
    if (!::EnumProcessModules(process, modules.data(),
                              static_cast<DWORD>(modules.size() * sizeof(HMODULE)), &needed)) {
        return;
    }
    for (HMODULE module : modules) {
        g_pKernelApi->GetModuleFileNameExW(process, module, m_scratch, MAX_PATH);
    }
}

void CLogModule::WriteLine(CLogSettings& settings, unsigned long line, unsigned long tagWord,
                           unsigned long word, const std::wstring& message)
{
    const std::wstring prefix = BuildPrefix(settings.m_options, tagWord, line);
    if ((word & kCategoryToDebugger) || (settings.m_options & kOptionDebugger)) {
        g_pDebugOutput->Write((prefix + Indentation(settings) + message + kLineEnd).c_str());
    }
    CLogFileInfo* file = settings.m_logFile;
    if (file != nullptr && !file->m_fileName.empty()) {
        DWORD openError = 0;
        if (!file->Append(prefix, message, settings.m_options, m_moduleName, m_queuedLines,
                          openError)) {
            const std::wstring errorText = openError != 0 ? FormatErrorText(openError) : L"";
            g_pDebugOutput->Write(L"Unable to open log file:\r\n<");
            g_pDebugOutput->Write(file->m_fileName.c_str());
            g_pDebugOutput->Write(L">\r\n");
            g_pDebugOutput->Write(errorText.c_str());
            g_pDebugOutput->Write(kLineEnd);
        }
    }
    if (settings.m_options & kOptionDelta) {
        m_lastLineCount = CPerformanceCounter::Now();
    }
}

std::wstring CLogModule::BuildPrefix(unsigned long options, unsigned long tagWord,
                                     unsigned long line)
{
    std::wstring prefix;
    const bool compact = (options & kOptionCompact) != 0;
    if (options & (kOptionDate | kOptionTime)) {
        SYSTEMTIME now = {};
        g_pKernelApi->GetLocalTime(&now);
        if (options & kOptionDate) {
            _snwprintf(m_scratch, MAX_PATH, compact ? L"%04u%02u%02u" : L"%04u/%02u/%02u ",
                       now.wYear, now.wMonth, now.wDay);
            prefix += m_scratch;
        }
        if (options & kOptionTime) {
            _snwprintf(m_scratch, MAX_PATH, compact ? L"%02u%02u%02u" : L"%02u:%02u:%02u ",
                       now.wHour, now.wMinute, now.wSecond);
            prefix += m_scratch;
        }
    }
    const long long count = (options & (kOptionCounter | kOptionDelta))
        ? CPerformanceCounter::Now() : 0;
    if (options & kOptionCounter) {
        _snwprintf(m_scratch, MAX_PATH, L"%ls%10.10I64d ", compact ? L":" : L"",
                   CPerformanceCounter::ToMicroseconds(count) % kCounterModulus);
        prefix += m_scratch;
    }
    if (options & kOptionDelta) {
        _snwprintf(m_scratch, MAX_PATH, L"(%6.6I64d ms) ",
                   (count - m_lastLineCount) * 1000 / CPerformanceCounter::Frequency());
        prefix += m_scratch;
    }
    if (options & kOptionProcess) {
        prefix += m_processTag;
    }
    if (options & kOptionThread) {
        _snwprintf(m_scratch, MAX_PATH, L"{tid: 0x%04X} ", g_pKernelApi->GetCurrentThreadId());
        prefix += m_scratch;
    }
    if (options & kOptionCounter) {
        if (line != 0) {
            _snwprintf(m_scratch, MAX_PATH, L"%04d: ", static_cast<int>(line));
            prefix += m_scratch;
        } else {
            prefix += L"      ";
        }
    }
    static const struct {
        unsigned long bit;
        const wchar_t* tag;
    } kTagsBeforeDetail[] = {
        {kCategoryException, L"(EX) "},
        {kCategoryError, L"(##) "},
        {kCategoryWarning, L"(WN) "},
        {kCategoryHeader, L"(++) "},
    }, kTagsAfterDetail[] = {
        {kCategoryStatus, L"(ST) "},
        {kCategoryDebug, L"(DB) "},
        {kCategoryEntry, L"(->) "},
        {kCategoryExit, L"(<-) "},
        {kCategoryErrorText, L"(**) "},
        {kCategoryLock, L"(LK) "},
        {kCategoryParameters, L"(IP) "},
    };
    for (const auto& tag : kTagsBeforeDetail) {
        if (tagWord & tag.bit) {
            prefix += tag.tag;
        }
    }
    if (tagWord & kCategoryInfo) {
        _snwprintf(m_scratch, MAX_PATH, L"(I%d) ",
                   static_cast<int>(tagWord & kCategoryDetailMask));
        prefix += m_scratch;
    }
    for (const auto& tag : kTagsAfterDetail) {
        if (tagWord & tag.bit) {
            prefix += tag.tag;
        }
    }
    if (tagWord & kCategoryNumberMask) {
        _snwprintf(m_scratch, MAX_PATH, L"(M%d) ",
                   static_cast<int>((tagWord & kCategoryNumberMask) >> 12));
        prefix += m_scratch;
    }
    return prefix;
}

// A file's own indentation, else the process-wide one of the settings block.
std::wstring CLogModule::Indentation(const CLogSettings& settings)
{
    if (settings.m_logFile != nullptr) {
        return settings.m_logFile->m_indent;
    }
    std::wstring indent;
    if (m_regValues.Take()) {
        if (m_regValues.View() != nullptr) {
            indent = *m_regValues.View()->m_indent;
        }
        m_regValues.Release();
    }
    return indent;
}

std::wstring CLogModule::FormatErrorText(unsigned long code)
{
    const int used = _snwprintf(m_scratch, MAX_PATH, L"[Err: 0x%08X] ", code);
    if (m_errorTextCallback != nullptr
        && m_errorTextCallback(code, m_scratch + used, MAX_PATH - used) > 0) {
        return m_scratch;
    }
    std::wstring text = m_scratch;
    const auto systemText = [](unsigned long error) {
        wchar_t* buffer = nullptr;
        ::FormatMessageW(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM
                             | FORMAT_MESSAGE_IGNORE_INSERTS,
                         nullptr, error, MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT),
                         reinterpret_cast<LPWSTR>(&buffer), 0, nullptr);
        const DWORD lastError = ::GetLastError();
        std::wstring result = buffer != nullptr ? buffer : L"";
        g_pKernelApi->LocalFree(buffer);
        ::SetLastError(lastError);
        return result;
    };
    const auto cutTwo = [](std::wstring& s) { s.erase(s.size() >= 2 ? s.size() - 2 : 0); };
    ::SetLastError(code);  // as when the code was just read with GetLastError
    text += systemText(code);
    const unsigned long formatError = ::GetLastError();
    cutTwo(text);
    if (formatError != code) {
        const std::wstring second = systemText(formatError);
        _snwprintf(m_scratch, MAX_PATH, L", [GLE: 0x%08X] ", formatError);
        text += m_scratch + second + L" ";
        cutTwo(text);
    }
    return text;
}

}  // namespace QVLogging
