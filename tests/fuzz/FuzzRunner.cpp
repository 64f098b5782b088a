#include "fuzz/FuzzRunner.h"

#include <windows.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <set>

#include "fuzz/GuardedBuffer.h"
#include "fuzz/MemoryCounters.h"
#include "fuzz/Mutator.h"
#include "fuzz/Watchdog.h"

namespace fuzz {

namespace {

// The corpus grows by inputs with outcomes not seen before, up to this.
constexpr size_t kCorpusLimit = 1024;
// Memory may grow by what the corpus took since the first count, and by
// this much of the allocator's own slack.
constexpr long long kPrivateBytesSlack = 4ll << 20;
constexpr long long kLiveAllocationSlack = 64;


}  // namespace

std::vector<std::string> ReadFolder(const std::string& folder)
{
    std::vector<std::string> names;
    WIN32_FIND_DATAA found;
    HANDLE search = FindFirstFileA((folder + "/*").c_str(), &found);
    if (search != INVALID_HANDLE_VALUE) {
        do {
            if (!(found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) && lstrcmpiA(found.cFileName, "README.md") != 0) {
                names.push_back(found.cFileName);
            }
        } while (FindNextFileA(search, &found));
        FindClose(search);
    }
    std::sort(names.begin(), names.end());
    std::vector<std::string> files;
    for (const std::string& name : names) {
        std::ifstream file(folder + "/" + name, std::ios::binary);
        files.emplace_back(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    }
    return files;
}

uint32_t FuzzRunner::RunOne(const FuzzTarget& target, const std::string& input)
{
    Watchdog& watchdog = Watchdog::Instance();
    const unsigned char* data = m_buffer.Place(input);
    watchdog.BeginInput(&input);
    const uint32_t outcome = target.run(data, std::min(input.size(), target.maxSize));
    watchdog.EndInput();
    return outcome;
}

bool FuzzRunner::Run(const FuzzTarget& target)
{
    Watchdog::Instance().BeginTarget(target.name, target.timeLimitMs);
    if (target.setUp) {
        target.setUp();
    }
    std::vector<std::string> corpus;
    corpus.reserve(kCorpusLimit + 1024);
    for (const std::string& folder : target.seedFolders) {
        for (std::string& seed : ReadFolder(folder)) {
            if (corpus.size() < kCorpusLimit) {
                corpus.push_back(std::move(seed));
            }
        }
    }
    if (corpus.empty()) {
        corpus.emplace_back();
    }
    const size_t seeds = corpus.size();
    std::set<uint32_t> outcomes;
    const auto started = std::chrono::steady_clock::now();
    for (size_t i = 0; i < seeds; ++i) {
        outcomes.insert(RunOne(target, corpus[i]));
    }

    Mutator mutator(m_options.seed, target.dictionary, target.maxSize);
    Random pick(m_options.seed ^ 0x5EED);
    // The first count of memory comes once caches and the allocator have
    // settled.
    const size_t warmUp = std::min(std::max(m_options.runs / 10, target.warmUpInputs), m_options.runs / 2);
    // Two inputs live at a time, so that the watchdog can keep the one
    // before a failure too.
    std::string inputs[2];
    MemoryCounters first;
    size_t corpusBytesAtFirst = 0;
    size_t corpusAtFirst = 0;
    for (size_t i = 0; i < m_options.runs; ++i) {
        if (i == warmUp) {
            first = MemoryCounters::Now();
            corpusAtFirst = corpus.size();
            for (const std::string& entry : corpus) {
                corpusBytesAtFirst += entry.capacity();
            }
        }
        const std::string& base = corpus[pick.Below(corpus.size())];
        const std::string& other = corpus[pick.Below(corpus.size())];
        std::string& input = inputs[i % 2];
        input = mutator.Mutate(base, other);
        if (outcomes.insert(RunOne(target, input)).second && corpus.size() < kCorpusLimit) {
            corpus.push_back(input);
        }
    }
    const MemoryCounters last = MemoryCounters::Now();
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
    if (target.tearDown) {
        target.tearDown();
    }

    size_t corpusBytes = 0;
    for (const std::string& entry : corpus) {
        corpusBytes += entry.capacity();
    }
    const long long privateGrowth = static_cast<long long>(last.privateBytes) - static_cast<long long>(first.privateBytes);
    const long long liveGrowth = last.liveAllocations - first.liveAllocations;
    const long long corpusGrowth = static_cast<long long>(corpusBytes - corpusBytesAtFirst);
    const long long entriesGrowth = static_cast<long long>(corpus.size() - corpusAtFirst);
    // Each kept entry may hold one block, and each new outcome a node.
    const bool flat = privateGrowth <= kPrivateBytesSlack + corpusGrowth
        && liveGrowth <= kLiveAllocationSlack + 2 * entriesGrowth;
    std::printf("%-16s %9zu inputs + %4zu seeds in %7.1f s (%6.0f/s), corpus %4zu, outcomes %4zu, "
                "private bytes %+lld KiB, live blocks %+lld: %s\n",
                target.name.c_str(), m_options.runs, seeds, seconds, (m_options.runs + seeds) / seconds,
                corpus.size(), outcomes.size(), privateGrowth / 1024, liveGrowth,
                flat ? "ok" : "MEMORY GREW");
    std::fflush(stdout);
    return flat;
}

}  // namespace fuzz
