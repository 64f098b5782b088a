#pragma once

#include <cstddef>
#include <string>

namespace fuzz {

// Holds each input so that it ends exactly where a page without access
// begins: a read or write even one byte past the input's end faults at
// once instead of going unnoticed.
class GuardedBuffer {
public:
    explicit GuardedBuffer(size_t maxSize);
    ~GuardedBuffer();
    GuardedBuffer(const GuardedBuffer&) = delete;
    GuardedBuffer& operator=(const GuardedBuffer&) = delete;

    // The input's copy, its last byte right before the guard page.
    const unsigned char* Place(const std::string& input);
    // Whether `address` lies in the guard page.
    bool IsGuard(const void* address) const;

private:
    unsigned char* m_base = nullptr;
    unsigned char* m_guard = nullptr;
    size_t m_usable = 0;
    size_t m_page = 0;
};

}  // namespace fuzz
