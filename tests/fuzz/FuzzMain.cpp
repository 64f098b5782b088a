// orvane_fuzz: runs the fuzz targets, each for a number of mutated inputs.
//   orvane_fuzz [--runs N] [--seed S] [--target NAME]... [--crashes FOLDER]
//   orvane_fuzz --list
//   orvane_fuzz --target NAME --input FILE... [--runs N]   (kept inputs, again)
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
                         "       orvane_fuzz --target NAME --input FILE... [--runs N]\n");
    return 2;
}

}  // namespace

int main(int argc, char** argv)
{
    using namespace fuzz;
    RunOptions options;
    std::vector<std::string> names;
    std::string crashes = "fuzz-crashes";
    std::vector<std::string> inputFiles;
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
            inputFiles.push_back(argv[++i]);
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
    if (chosen.empty() || chosen.size() < names.size() || (!inputFiles.empty() && chosen.size() != 1)) {
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
    if (!inputFiles.empty()) {
        // Kept inputs again, in the order given, repeated: shows whether
        // their path keeps memory, or what one leaves for the next.
        std::vector<std::string> inputs;
        for (const std::string& name : inputFiles) {
            std::ifstream file(name, std::ios::binary);
            inputs.emplace_back((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
        }
        const FuzzTarget& target = *chosen.front();
        Watchdog::Instance().BeginTarget(target.name, target.timeLimitMs);
        if (target.setUp) {
            target.setUp();
        }
        const size_t times = runsGiven && options.runs != 0 ? options.runs : 1;
        MemoryCounters first;
        for (size_t i = 0; i < times; ++i) {
            for (const std::string& input : inputs) {
                const uint32_t outcome = runner.RunOne(target, input);
                if (i == 0) {
                    std::printf("%s: outcome %u\n", target.name.c_str(), outcome);
                    first = MemoryCounters::Now();
                }
            }
        }
        const MemoryCounters last = MemoryCounters::Now();
        std::printf("%s: %zu runs, private bytes %+lld KiB, live blocks %+lld\n", target.name.c_str(), times,
                    (static_cast<long long>(last.privateBytes) - static_cast<long long>(first.privateBytes)) / 1024,
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
