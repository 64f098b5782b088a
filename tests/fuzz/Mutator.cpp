#include "fuzz/Mutator.h"

#include <algorithm>
#include <cctype>
#include <cstring>

namespace fuzz {

namespace {

// Values that sit on the edges parsers care about: signs, widths, lengths.
const std::vector<std::string> kInterestingText = {
    "0", "-1", "1", "4096", "4097", "65535", "65536", "2147483647", "2147483648", "4294967295", "4294967296",
    "18446744073709551615", "ffffffff", "FFFFFFFFFFFFFFFF", "7fffffff", "-0", "+1", "0x10", " ", "\r\n", "\r\n\r\n",
    "\r", "\n", ";", ":", "\"", "%", "\\", "/", "//", "\0", "\xff", "\xc3\xa9", "\xf0\x9f\x98\x80", "&amp;", "]]>",
};

}  // namespace

uint64_t Random::Next()
{
    uint64_t z = (m_state += 0x9E3779B97F4A7C15ull);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    return z ^ (z >> 31);
}

Mutator::Mutator(uint64_t seed, std::vector<std::string> dictionary, size_t maxSize)
    : m_random(seed), m_dictionary(std::move(dictionary)), m_maxSize(maxSize)
{
    m_dictionary.insert(m_dictionary.end(), kInterestingText.begin(), kInterestingText.end());
}

std::string Mutator::Mutate(const std::string& input, const std::string& other)
{
    std::string data = input;
    const size_t rounds = 1 + m_random.Below(8);
    for (size_t i = 0; i < rounds; ++i) {
        MutateOnce(data, other);
    }
    if (data.size() > m_maxSize) {
        data.resize(m_maxSize);
    }
    return data;
}

void Mutator::MutateOnce(std::string& data, const std::string& other)
{
    switch (m_random.Below(12)) {
    case 0: FlipBit(data); break;
    case 1: SetByte(data); break;
    case 2: InterestingNumber(data); break;
    case 3: InsertBytes(data); break;
    case 4: EraseBytes(data); break;
    case 5: DuplicateRun(data); break;
    case 6: CopyInside(data); break;
    case 7: Splice(data, other); break;
    case 8:
    case 9: InsertToken(data); break;
    case 10: OverwriteToken(data); break;
    default: ChangeDigits(data); break;
    }
}

void Mutator::FlipBit(std::string& data)
{
    if (!data.empty()) {
        data[m_random.Below(data.size())] ^= static_cast<char>(1u << m_random.Below(8));
    }
}

void Mutator::SetByte(std::string& data)
{
    if (!data.empty()) {
        data[m_random.Below(data.size())] = static_cast<char>(m_random.Below(256));
    }
}

void Mutator::InterestingNumber(std::string& data)
{
    static const uint32_t kNumbers[] = {0, 1, 0x7F, 0x80, 0xFF, 0x100, 0x7FFF, 0x8000, 0xFFFF, 0x10000,
                                        0x7FFFFFFF, 0x80000000, 0xFFFFFFFF};
    const uint32_t number = kNumbers[m_random.Below(sizeof kNumbers / sizeof kNumbers[0])];
    const size_t width = size_t(1) << m_random.Below(3);
    if (data.size() < width) {
        return;
    }
    std::memcpy(&data[m_random.Below(data.size() - width + 1)], &number, width);
}

void Mutator::InsertBytes(std::string& data)
{
    const size_t count = 1 + m_random.Below(m_random.OneIn(8) ? 512 : 8);
    const char byte = static_cast<char>(m_random.Below(256));
    std::string bytes(count, byte);
    if (m_random.OneIn(2)) {
        for (char& c : bytes) {
            c = static_cast<char>(m_random.Below(256));
        }
    }
    data.insert(m_random.Below(data.size() + 1), bytes);
}

void Mutator::EraseBytes(std::string& data)
{
    if (data.empty()) {
        return;
    }
    const size_t at = m_random.Below(data.size());
    data.erase(at, 1 + m_random.Below(std::min<size_t>(data.size() - at, 64)));
}

void Mutator::DuplicateRun(std::string& data)
{
    if (data.empty()) {
        return;
    }
    const size_t at = m_random.Below(data.size());
    const std::string run = data.substr(at, 1 + m_random.Below(32));
    const size_t times = 1 + m_random.Below(m_random.OneIn(16) ? 256 : 4);
    std::string repeated;
    for (size_t i = 0; i < times && repeated.size() < m_maxSize; ++i) {
        repeated += run;
    }
    data.insert(at, repeated);
}

void Mutator::CopyInside(std::string& data)
{
    if (data.size() < 2) {
        return;
    }
    const size_t from = m_random.Below(data.size());
    const size_t length = 1 + m_random.Below(std::min<size_t>(data.size() - from, 128));
    const std::string run = data.substr(from, length);
    const size_t to = m_random.Below(data.size());
    data.replace(to, std::min(run.size(), data.size() - to), run);
}

void Mutator::Splice(std::string& data, const std::string& other)
{
    if (other.empty()) {
        return;
    }
    const size_t cut = m_random.Below(data.size() + 1);
    const size_t from = m_random.Below(other.size());
    data = data.substr(0, cut) + other.substr(from);
}

void Mutator::InsertToken(std::string& data)
{
    data.insert(m_random.Below(data.size() + 1), m_dictionary[m_random.Below(m_dictionary.size())]);
}

void Mutator::OverwriteToken(std::string& data)
{
    const std::string& token = m_dictionary[m_random.Below(m_dictionary.size())];
    if (data.size() < token.size()) {
        data += token;
        return;
    }
    data.replace(m_random.Below(data.size() - token.size() + 1), token.size(), token);
}

// A run of digits (decimal or hexadecimal) replaced by a number of another
// size: lengths, chunk sizes and ports are where parsers break.
void Mutator::ChangeDigits(std::string& data)
{
    if (data.empty()) {
        return;
    }
    const size_t start = m_random.Below(data.size());
    size_t at = start;
    while (at < data.size() && !std::isxdigit(static_cast<unsigned char>(data[at]))) {
        ++at;
    }
    if (at == data.size()) {
        return;
    }
    size_t end = at;
    while (end < data.size() && std::isxdigit(static_cast<unsigned char>(data[end]))) {
        ++end;
    }
    static const char* kNumbers[] = {"0", "1", "7", "ff", "FFFFFFFF", "100000000", "99999999999", "-5", "3000"};
    data.replace(at, end - at, kNumbers[m_random.Below(sizeof kNumbers / sizeof kNumbers[0])]);
}

}  // namespace fuzz
