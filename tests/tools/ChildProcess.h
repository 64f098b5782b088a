// A program of the build started from a test, with its standard output and
// error on pipes. Every wait is bounded: the pipes are polled, so that a
// pipe that another process keeps open cannot hold a test.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

namespace toolstest {

class ChildProcess {
public:
    ChildProcess() = default;
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    // Starts `program` (a file name in the test binary's folder) with the
    // arguments, each quoted.
    bool Start(const std::wstring& program, const std::vector<std::wstring>& arguments);
    // The exit code, or -1 if the process is still running after `ms`.
    int Wait(DWORD ms = 20000);
    // Waits until standard output holds a line that begins with `prefix`
    // and returns it (without its line end); empty after `ms` or exit.
    std::string WaitForLine(const std::string& prefix, DWORD ms = 10000);
    void Terminate();
    DWORD ProcessId() const { return m_process.dwProcessId; }

    const std::string& Output() { Pump(); return m_output; }
    const std::string& Errors() { Pump(); return m_errors; }
    // Standard output split into lines, line ends ("\r\n" or "\n") removed.
    std::vector<std::string> OutputLines() { return Lines(Output()); }
    std::vector<std::string> ErrorLines() { return Lines(Errors()); }

    static std::vector<std::string> Lines(const std::string& text);
    // The folder of the test binary, where the tools are built, with a
    // trailing backslash.
    static std::wstring BinaryFolder();

private:
    void Pump();
    static void Drain(HANDLE pipe, std::string* into);

    PROCESS_INFORMATION m_process{};
    HANDLE m_outRead = nullptr;
    HANDLE m_errRead = nullptr;
    std::string m_output;
    std::string m_errors;
};

// The whole output of one run of `program`, with its exit code.
struct RunResult {
    int exitCode;
    std::vector<std::string> out;
    std::vector<std::string> err;
};
RunResult RunTool(const std::wstring& program, const std::vector<std::wstring>& arguments);

}  // namespace toolstest
