// The fault matrix: every fault in every kind of connection that can meet
// it, each run twice to warm up (what a path keeps once for the process),
// then twice measured. Each row must give its status and its log lines,
// leave no handle, thread or C++ heap block behind, and end within its
// bound.
#include <gtest/gtest.h>

#include <windows.h>

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include "reliability/FaultRow.h"
#include "reliability/Resources.h"

namespace reliability {

std::wstring ScopeErrorLine(const wchar_t* status)
{
    return std::wstring(L"(**) [Err: ") + status + L", [GLE: 0x0000013D] ";
}

std::wstring ScriptSetting(const wchar_t* name)
{
    wchar_t value[MAX_PATH] = {};
    const DWORD length = GetEnvironmentVariableW(name, value, MAX_PATH);
    return length > 0 && length < MAX_PATH ? value : L"";
}

namespace {

struct BoundedRun {
    const FaultRow* row;
    Outcome outcome;
};

DWORD WINAPI RunRow(void* parameter)
{
    auto* run = static_cast<BoundedRun*>(parameter);
    run->outcome = run->row->run();
    return 0;
}

// Runs the row on a thread of its own and waits at most its bound. A run
// that does not end is a hang: the process cannot go on safely with it, so
// the run is told and the process ends.
Outcome RunWithinBound(const FaultRow& row)
{
    BoundedRun run{&row, {}};
    HANDLE thread = CreateThread(nullptr, 0, RunRow, &run, 0, nullptr);
    if (thread == nullptr) {
        run.outcome.problems.push_back("the run's thread could not be made");
        return run.outcome;
    }
    const DWORD start = GetTickCount();
    const DWORD waited = WaitForSingleObject(thread, row.boundMs);
    if (waited != WAIT_OBJECT_0) {
        std::printf("HANG: %s / %s did not end within %lu ms\n", row.connection, row.fault, row.boundMs);
        std::fflush(stdout);
        TerminateProcess(GetCurrentProcess(), 3);
    }
    CloseHandle(thread);
    std::printf("  %s / %s: %lu ms\n", row.connection, row.fault, GetTickCount() - start);
    return run.outcome;
}

std::string Narrow(const std::wstring& text)
{
    return std::string(text.begin(), text.end());
}

std::string Hex(unsigned long status)
{
    char text[16];
    std::snprintf(text, sizeof(text), "0x%08lX", status);
    return text;
}

// Each expected text begins a line, in order; the first missing one, or
// empty.
std::wstring FirstMissing(const std::vector<std::wstring>& lines, const std::vector<std::wstring>& expected)
{
    size_t at = 0;
    for (const std::wstring& text : expected) {
        while (at < lines.size() && lines[at].rfind(text, 0) != 0) {
            ++at;
        }
        if (at == lines.size()) {
            return text;
        }
        ++at;
    }
    return L"";
}

std::vector<FaultRow> AllRows()
{
    std::vector<FaultRow> rows;
    for (auto part : {NetworkRows, SecureRows, UsbRows, ComponentRows, BulkRows, LogRows, RecordRows, ResolverRows, DiscoveryRows}) {
        for (FaultRow& row : part()) {
            rows.push_back(std::move(row));
        }
    }
    return rows;
}

const std::vector<FaultRow>& Rows()
{
    static const std::vector<FaultRow> rows = AllRows();
    return rows;
}

constexpr int kWarmingRuns = 2;
constexpr int kMeasuredRuns = 3;
constexpr DWORD kSettleMs = 3000;

struct FaultMatrix : ::testing::TestWithParam<size_t> {};

TEST_P(FaultMatrix, GivesItsStatusAndLogLineAndLeavesNothingBehind)
{
    const FaultRow& row = Rows()[GetParam()];
    // The first runs pay what the path keeps for the process once (the log
    // module's records of a file, the platform's per-process state).
    for (int warming = 1; warming <= kWarmingRuns; ++warming) {
        const Outcome outcome = RunWithinBound(row);
        for (const std::string& problem : outcome.problems) {
            ADD_FAILURE() << "run " << warming << ": " << problem;
        }
        EXPECT_EQ(Hex(row.status), Hex(outcome.status)) << "run " << warming;
    }

    // Only counters live across the measured runs: each run's outcome is
    // checked and gone before the count after.

    const Resources before = Resources::Now();
    for (int measured = 1; measured <= kMeasuredRuns; ++measured) {
        const Outcome outcome = RunWithinBound(row);
        EXPECT_EQ(Hex(row.status), Hex(outcome.status));
        for (const std::string& problem : outcome.problems) {
            ADD_FAILURE() << problem;
        }
        const std::wstring missing = FirstMissing(outcome.lines, row.lines);
        EXPECT_EQ("", Narrow(missing)) << "is missing from the log";
        if (HasFailure()) {
            for (const std::wstring& line : outcome.lines) {
                std::printf("    %ls\n", line.c_str());
            }
            return;
        }
    }
    // The platform ends some things after the call that closed them (a
    // WinINet request closed while its worker still waits on the device):
    // what is left must be gone within a bound.
    Resources after = Resources::Now();
    for (DWORD start = GetTickCount(); !before.GrowthTo(after).empty() && GetTickCount() - start < kSettleMs;) {
        Sleep(50);
        after = Resources::Now();
    }
    EXPECT_EQ("", before.GrowthTo(after)) << "was left behind by " << kMeasuredRuns << " runs";
}

std::string RowName(const ::testing::TestParamInfo<size_t>& info)
{
    const FaultRow& row = Rows()[info.param];
    std::string name = std::string(row.connection) + "_" + row.fault;
    for (char& c : name) {
        c = std::isalnum(static_cast<unsigned char>(c)) ? c : '_';
    }
    return name;
}

INSTANTIATE_TEST_SUITE_P(Rows, FaultMatrix, ::testing::Range<size_t>(0, Rows().size()), RowName);

}  // namespace
}  // namespace reliability
