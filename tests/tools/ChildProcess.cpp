#include "tools/ChildProcess.h"

namespace toolstest {

namespace {

std::wstring Quoted(const std::wstring& argument)
{
    std::wstring quoted = L"\"";
    for (const wchar_t c : argument) {
        if (c == L'"') {
            quoted += L'\\';
        }
        quoted += c;
    }
    return quoted + L"\"";
}

}  // namespace

ChildProcess::~ChildProcess()
{
    Terminate();
    for (HANDLE h : {m_process.hProcess, m_process.hThread, m_outRead, m_errRead}) {
        if (h != nullptr) {
            CloseHandle(h);
        }
    }
}

std::wstring ChildProcess::BinaryFolder()
{
    wchar_t path[MAX_PATH];
    const DWORD length = GetModuleFileNameW(nullptr, path, MAX_PATH);
    std::wstring folder(path, length);
    return folder.substr(0, folder.rfind(L'\\') + 1);
}

bool ChildProcess::Start(const std::wstring& program, const std::vector<std::wstring>& arguments)
{
    const std::wstring path = BinaryFolder() + program;
    std::wstring commandLine = Quoted(path);
    for (const std::wstring& argument : arguments) {
        commandLine += L" " + Quoted(argument);
    }
    SECURITY_ATTRIBUTES inherit{sizeof(inherit), nullptr, TRUE};
    HANDLE outWrite = nullptr;
    HANDLE errWrite = nullptr;
    CreatePipe(&m_outRead, &outWrite, &inherit, 1 << 16);
    CreatePipe(&m_errRead, &errWrite, &inherit, 1 << 16);
    SetHandleInformation(m_outRead, HANDLE_FLAG_INHERIT, 0);
    SetHandleInformation(m_errRead, HANDLE_FLAG_INHERIT, 0);
    HANDLE input = CreateFileW(L"NUL", GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, &inherit, OPEN_EXISTING, 0,
                               nullptr);
    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = input;
    startup.hStdOutput = outWrite;
    startup.hStdError = errWrite;
    const BOOL started = CreateProcessW(path.c_str(), &commandLine[0], nullptr, nullptr, TRUE, 0, nullptr, nullptr,
                                        &startup, &m_process);
    CloseHandle(outWrite);
    CloseHandle(errWrite);
    CloseHandle(input);
    return started != FALSE;
}

void ChildProcess::Drain(HANDLE pipe, std::string* into)
{
    DWORD waiting = 0;
    while (PeekNamedPipe(pipe, nullptr, 0, nullptr, &waiting, nullptr) && waiting != 0) {
        std::string chunk(waiting, '\0');
        DWORD got = 0;
        if (!ReadFile(pipe, &chunk[0], waiting, &got, nullptr)) {
            return;
        }
        into->append(chunk, 0, got);
    }
}

void ChildProcess::Pump()
{
    if (m_outRead != nullptr) {
        Drain(m_outRead, &m_output);
        Drain(m_errRead, &m_errors);
    }
}

int ChildProcess::Wait(DWORD ms)
{
    const ULONGLONG deadline = GetTickCount64() + ms;
    for (;;) {
        Pump();
        if (m_process.hProcess == nullptr) {
            return -1;
        }
        if (WaitForSingleObject(m_process.hProcess, 20) == WAIT_OBJECT_0) {
            Pump();
            DWORD code = 0;
            GetExitCodeProcess(m_process.hProcess, &code);
            return static_cast<int>(code);
        }
        if (GetTickCount64() >= deadline) {
            return -1;
        }
    }
}

std::string ChildProcess::WaitForLine(const std::string& prefix, DWORD ms)
{
    const ULONGLONG deadline = GetTickCount64() + ms;
    for (;;) {
        const bool over = GetTickCount64() >= deadline || m_process.hProcess == nullptr
                          || WaitForSingleObject(m_process.hProcess, 20) == WAIT_OBJECT_0;
        // Complete lines only: a line being written may still grow.
        const std::string& output = Output();
        for (const std::string& line : Lines(output.substr(0, output.rfind('\n') + 1))) {
            if (line.compare(0, prefix.size(), prefix) == 0) {
                return line;
            }
        }
        if (over) {
            return std::string();
        }
    }
}

void ChildProcess::Terminate()
{
    if (m_process.hProcess != nullptr && WaitForSingleObject(m_process.hProcess, 0) == WAIT_TIMEOUT) {
        TerminateProcess(m_process.hProcess, 255);
        WaitForSingleObject(m_process.hProcess, 5000);
    }
}

std::vector<std::string> ChildProcess::Lines(const std::string& text)
{
    std::vector<std::string> lines;
    size_t start = 0;
    while (start < text.size()) {
        size_t end = text.find('\n', start);
        if (end == std::string::npos) {
            end = text.size();
        }
        std::string line = text.substr(start, end - start);
        if (!line.empty() && line.back() == '\r') {
            line.pop_back();
        }
        lines.push_back(line);
        start = end + 1;
    }
    return lines;
}

RunResult RunTool(const std::wstring& program, const std::vector<std::wstring>& arguments)
{
    ChildProcess child;
    if (!child.Start(program, arguments)) {
        return {-2, {}, {}};
    }
    const int code = child.Wait();
    return {code, child.OutputLines(), child.ErrorLines()};
}

}  // namespace toolstest
