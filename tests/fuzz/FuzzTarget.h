#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace fuzz {

// One fuzz target: a path that a device's (or the system's) bytes take
// through the library, with the checks that must hold for every input.
struct FuzzTarget {
    std::string name;
    // Folders of seed inputs: the target's own under tests/fuzz/corpus and
    // any other suite's corpus it shares. Crash inputs found are kept there
    // too and run first on every pass.
    std::vector<std::string> seedFolders;
    std::vector<std::string> dictionary;
    // The longest input made.
    size_t maxSize = 4096;
    // The operation's own time limit: an input that takes longer hangs.
    unsigned long timeLimitMs = 30000;
    // Inputs before memory is first counted: enough to fill the bounded
    // caches the path keeps (at least a tenth of the run).
    size_t warmUpInputs = 0;
    // Once per run, before the first input and after the last.
    std::function<void()> setUp;
    std::function<void()> tearDown;
    // Runs one input and returns what it led to, as a small number; an
    // input with an outcome not seen before joins the corpus.
    std::function<uint32_t(const unsigned char* data, size_t size)> run;
    // A target that breaks a criterion on purpose, to show that the run
    // catches it: it runs only when named.
    bool selfTest = false;
};

// The registered targets, in the order of registration.
std::vector<FuzzTarget>& Targets();

struct TargetRegistration {
    explicit TargetRegistration(FuzzTarget target) { Targets().push_back(std::move(target)); }
};

// A property of the input's handling that does not hold: the input is kept
// and the run ends with `what`.
[[noreturn]] void Fail(const std::string& what);

inline void Check(bool holds, const std::string& what)
{
    if (!holds) {
        Fail(what);
    }
}

// The folder of a target's own seeds.
std::string CorpusFolder(const char* target);

}  // namespace fuzz
