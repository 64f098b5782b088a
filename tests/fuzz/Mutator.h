#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace fuzz {

// A small deterministic pseudo-random source (splitmix64): the same seed
// gives the same inputs on every machine.
class Random {
public:
    explicit Random(uint64_t seed) : m_state(seed) {}
    uint64_t Next();
    // A number below `bound` (0 for a bound of 0).
    size_t Below(size_t bound) { return bound == 0 ? 0 : static_cast<size_t>(Next() % bound); }
    bool OneIn(size_t n) { return Below(n) == 0; }

private:
    uint64_t m_state;
};

// Makes new inputs from the corpus: bit and byte flips, interesting
// numbers, inserted, deleted and repeated runs, copies inside one input,
// splices of two corpus entries, and tokens of the target's dictionary.
class Mutator {
public:
    Mutator(uint64_t seed, std::vector<std::string> dictionary, size_t maxSize);

    // One to eight mutations stacked on `input`; `other` is a second corpus
    // entry for splices.
    std::string Mutate(const std::string& input, const std::string& other);

private:
    void MutateOnce(std::string& data, const std::string& other);
    void FlipBit(std::string& data);
    void SetByte(std::string& data);
    void InterestingNumber(std::string& data);
    void InsertBytes(std::string& data);
    void EraseBytes(std::string& data);
    void DuplicateRun(std::string& data);
    void CopyInside(std::string& data);
    void Splice(std::string& data, const std::string& other);
    void InsertToken(std::string& data);
    void OverwriteToken(std::string& data);
    void ChangeDigits(std::string& data);

    Random m_random;
    std::vector<std::string> m_dictionary;
    size_t m_maxSize;
};

}  // namespace fuzz
