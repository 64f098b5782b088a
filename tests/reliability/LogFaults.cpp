// Faults of the log file while a connection writes to a device: the file
// held by another process, its folder turned into a file, its disk full.
// Logging never fails its caller: the job reaches the device whatever the
// log meets, and the lines come back (queued) or are lost (a refused write)
// as the log module's rules say.
#include <windows.h>

#include <chrono>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "doubles/LogFileLines.h"
#include "doubles/ModuleLogFile.h"
#include "doubles/TempFolder.h"
#include "iostack/NetworkTestSupport.h"
#include "logging/LogModules.h"
#include "reliability/FaultRow.h"
#include "reliability/FullDisk.h"
#include "tools/ChildProcess.h"

using peers::LoopbackPeer;

namespace reliability {
namespace {

// The lines of a log file without their process field.
std::vector<std::wstring> LinesOf(const std::wstring& file)
{
    std::vector<std::wstring> lines;
    for (const std::wstring& line : doubles::ReadLogLines(file)) {
        const size_t close = line.find(L"] ");
        const bool field = !line.empty() && line[0] == L'[' && close != std::wstring::npos;
        lines.push_back(field ? line.substr(close + 2) : line);
    }
    return lines;
}

// A connection writes a job to a device on loopback while `fault` holds;
// `recover` ends the fault before the connection's next line. The status is
// the write's.
template <typename Fault, typename Recover>
Outcome JobWhileTheLogFails(const std::wstring& file, Fault fault, Recover recover)
{
    Outcome outcome;
    std::string received;
    std::mutex lock;
    {
        LoopbackPeer peer(LoopbackPeer::Record(&received, &lock));
        RunLog log(L"fault-log", file);
        iostack_test::TestableNetwork* connection = iostack_test::ConnectionTo(peer);
        connection->GetReadTimeout();  // the file is made
        fault(outcome);
        outcome.Check(connection->Open(nullptr) == 0, "the connection did not open");
        unsigned long count = 0;
        outcome.status = connection->Write("job", 3, &count, nullptr);
        connection->Close();
        recover(outcome);
        connection->GetWriteTimeout();  // the first line after the fault
        connection->Dispose();
        outcome.lines = LinesOf(file);
        for (int i = 0; i < 500 && received.size() < 3; ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
    }
    outcome.Check(received == "job", "the device received '" + received + "'");
    return outcome;
}

Outcome LockedByAnotherProcess()
{
    doubles::TempFolder folder(L"orvane-fault-locked");
    const std::wstring file = folder / L"module.log";
    const std::wstring releaseName = L"orvane-fault-log-release-" + std::to_wstring(GetCurrentProcessId());
    HANDLE release = CreateEventW(nullptr, TRUE, FALSE, releaseName.c_str());
    toolstest::ChildProcess holder;
    Outcome outcome = JobWhileTheLogFails(
        file,
        [&](Outcome& o) {
            o.Check(holder.Start(L"file-holder.exe", {file, releaseName}), "the holder did not start");
            o.Check(holder.WaitForLine("held") == "held", "the holder did not take the file: " + holder.Output());
        },
        [&](Outcome& o) {
            SetEvent(release);
            o.Check(holder.WaitForLine("released") == "released", "the holder did not let the file go");
            o.Check(holder.Wait() == 0, "the holder failed: " + holder.Output());
        });
    CloseHandle(release);
    return outcome;
}

// The log's folder is a file: the log cannot be opened until it is a
// folder again.
Outcome FolderIsAFile()
{
    wchar_t temp[MAX_PATH] = {};
    GetTempPathW(MAX_PATH, temp);
    const std::wstring folder = std::wstring(temp) + L"orvane-fault-folder-" + std::to_wstring(GetCurrentProcessId());
    const std::wstring file = folder + L"\\module.log";
    CreateDirectoryW(folder.c_str(), nullptr);
    Outcome outcome = JobWhileTheLogFails(
        file,
        [&](Outcome& o) {
            DeleteFileW(file.c_str());
            RemoveDirectoryW(folder.c_str());
            HANDLE plain = CreateFileW(folder.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, 0, nullptr);
            o.Check(plain != INVALID_HANDLE_VALUE, "the folder could not be made a file");
            CloseHandle(plain);
        },
        [&](Outcome& o) {
            o.Check(DeleteFileW(folder.c_str()) && CreateDirectoryW(folder.c_str(), nullptr),
                    "the folder could not be made again");
        });
    DeleteFileW(file.c_str());
    RemoveDirectoryW(folder.c_str());
    return outcome;
}

// The log's disk is full: lines whose write is refused are lost, and
// writing goes on once there is space again.
Outcome DiskFull()
{
    const std::wstring small = ScriptSetting(L"ORVANE_FULL_FOLDER");
    const std::wstring file = small + L"\\module.log";
    std::unique_ptr<FullDisk> full;
    Outcome outcome = JobWhileTheLogFails(
        file,
        [&](Outcome& o) {
            o.Check(!small.empty(), "ORVANE_FULL_FOLDER is not set: run through tests/reliability/fault-matrix.sh");
            // A fresh file, so that no part of a page is left to write into.
            DeleteFileW(file.c_str());
            full = std::make_unique<FullDisk>(small);
            o.Check(full->IsFull(), "the disk was not filled: error " + std::to_string(full->LastError()));
        },
        [&](Outcome&) { full.reset(); });
    outcome.Check(!outcome.lines.empty() && outcome.lines[0].rfind(L"(->) CIOCommon::GetWriteTimeout", 0) == 0,
                  "the log does not begin with the first line after the fault");
    DeleteFileW(file.c_str());
    return outcome;
}

// Each module keeps a queue of its own: the first line after the fault
// brings the connection base's queue (the write), the network module's
// (open and close) waits for that module's next line.
std::vector<std::wstring> Queued(std::vector<std::wstring> before)
{
    for (const wchar_t* line :
         {L"--- Queued Lines Start ---", L"(->) CIOCommon::Write", L"(I4) WriteFile succeeded, pulBytesWritten = 3",
          L"(<-) CIOCommon::Write", L"--- Queued Lines End ---", L"(->) CIOCommon::GetWriteTimeout",
          L"--- Queued Lines Start ---", L"(->) CIONetwork::Open", L"(I0) WSAConnect succeeded",
          L"(<-) CIONetwork::Close", L"--- Queued Lines End ---", L"(->) CIONetwork::Cleanup"}) {
        before.push_back(line);
    }
    return before;
}

}  // namespace

std::vector<FaultRow> LogRows()
{
    return {
        {"log", "file locked by another process", LockedByAnotherProcess, 0,
         Queued({L"(->) CIOCommon::GetReadTimeout"})},
        {"log", "folder read-only (a file)", FolderIsAFile, 0, Queued({})},
        {"log", "disk full", DiskFull, 0, {L"(->) CIOCommon::GetWriteTimeout", L"(<-) CIOCommon::GetWriteTimeout"}},
    };
}

}  // namespace reliability
