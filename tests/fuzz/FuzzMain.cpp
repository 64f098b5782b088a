// orvane_fuzz: runs the fuzz targets, each for a number of mutated inputs.
//   orvane_fuzz [--runs N] [--seed S] [--target NAME]... [--crashes FOLDER]
//   orvane_fuzz --list
//   orvane_fuzz --target NAME --input FILE [--runs N]   (a kept input, again)
#include <cstdio>
#include <cstdlib>
#include <algorithm>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "fuzz/FuzzRunner.h"
#include "fuzz/FuzzTarget.h"
#include "fuzz/GuardedBuffer.h"
#include "fuzz/MemoryCounters.h"
#include "fuzz/Watchdog.h"

namespace fuzz {

namespace {

constexpr int kExitCheck = 5;

}  // namespace

std::vector<FuzzTarget>& Targets()
{
    static std::vector<FuzzTarget> targets;
    return targets;
}

void Fail(const std::string& what)
{
    Watchdog::Instance().Report(("check failed: " + what).c_str(), kExitCheck);
}

std::string CorpusFolder(const char* target)
{
    return std::string(ORVANE_FUZZ_CORPUS) + "/" + target;
}

}  // namespace fuzz

namespace {

int Usage()
{
    std::fprintf(stderr, "usage: orvane_fuzz [--runs N] [--seed S] [--target NAME]... [--crashes FOLDER]\n"
                         "       orvane_fuzz --list\n"
                         "       orvane_fuzz --target NAME --input FILE\n");
    return 2;
}

}  // namespace

int main(int argc, char** argv)
{
    using namespace fuzz;
    RunOptions options;
    std::vector<std::string> names;
    std::string crashes = "fuzz-crashes";
    std::string inputFile;
    bool runsGiven = false;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        const bool hasValue = i + 1 < argc;
        if (arg == "--list") {
            for (const FuzzTarget& target : Targets()) {
                std::printf("%s%s\n", target.name.c_str(), target.selfTest ? " (self-test)" : "");
            }
            return 0;
        } else if (arg == "--runs" && hasValue) {
            options.runs = std::strtoull(argv[++i], nullptr, 10);
            runsGiven = true;
        } else if (arg == "--seed" && hasValue) {
            options.seed = std::strtoull(argv[++i], nullptr, 10);
        } else if (arg == "--target" && hasValue) {
            names.push_back(argv[++i]);
        } else if (arg == "--crashes" && hasValue) {
            crashes = argv[++i];
        } else if (arg == "--input" && hasValue) {
            inputFile = argv[++i];
        } else {
            return Usage();
        }
    }
    std::vector<const FuzzTarget*> chosen;
    for (const FuzzTarget& target : Targets()) {
        const bool named = std::find(names.begin(), names.end(), target.name) != names.end();
        if (named || (names.empty() && !target.selfTest)) {
            chosen.push_back(&target);
        }
    }
    if (chosen.empty() || chosen.size() < names.size() || (!inputFile.empty() && chosen.size() != 1)) {
        std::fprintf(stderr, "orvane_fuzz: unknown target or more than one target for --input\n");
        return Usage();
    }
    size_t maxSize = 0;
    for (const FuzzTarget* target : chosen) {
        maxSize = std::max(maxSize, target->maxSize);
    }
    GuardedBuffer buffer(maxSize);
    Watchdog::Instance().Start(crashes, &buffer);
    FuzzRunner runner(buffer, options);
    if (!inputFile.empty()) {
        std::ifstream file(inputFile, std::ios::binary);
        const std::string input((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
        const FuzzTarget& target = *chosen.front();
        Watchdog::Instance().BeginTarget(target.name, target.timeLimitMs);
        if (target.setUp) {
            target.setUp();
        }
        // Repeated, the input shows whether its path keeps memory.
        const size_t times = runsGiven && options.runs != 0 ? options.runs : 1;
        uint32_t outcome = runner.RunOne(target, input);
        const MemoryCounters first = MemoryCounters::Now();
        for (size_t i = 1; i < times; ++i) {
            runner.RunOne(target, input);
        }
        const MemoryCounters last = MemoryCounters::Now();
        std::printf("%s: outcome %u, %zu runs, private bytes %+lld KiB, live blocks %+lld\n", target.name.c_str(),
                    outcome, times, (static_cast<long long>(last.privateBytes) - static_cast<long long>(first.privateBytes)) / 1024,
                    last.liveAllocations - first.liveAllocations);
        if (target.tearDown) {
            target.tearDown();
        }
        return 0;
    }
    bool flat = true;
    for (const FuzzTarget* target : chosen) {
        flat = runner.Run(*target) && flat;
    }
    return flat ? 0 : 1;
}
