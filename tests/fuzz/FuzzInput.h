#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace fuzz {

// Takes typed values off the front of an input, for targets that build
// structured data from it; an input that runs out gives zeros and empty
// text.
class FuzzInput {
public:
    FuzzInput(const unsigned char* data, size_t size) : m_data(data), m_size(size) {}

    uint8_t Byte() { return m_at < m_size ? m_data[m_at++] : 0; }
    uint32_t Number()
    {
        uint32_t value = 0;
        for (int i = 0; i < 4; ++i) {
            value = value << 8 | Byte();
        }
        return value;
    }
    // Up to `max` bytes, ended early by a zero byte (which is used up).
    std::string Text(size_t max)
    {
        std::string text;
        while (m_at < m_size && text.size() < max) {
            const char c = static_cast<char>(m_data[m_at++]);
            if (c == '\0') {
                break;
            }
            text += c;
        }
        return text;
    }
    // Up to `count` bytes, whatever they are.
    std::string Bytes(size_t count)
    {
        const size_t taken = count < m_size - m_at ? count : m_size - m_at;
        std::string bytes(reinterpret_cast<const char*>(m_data + m_at), taken);
        m_at += taken;
        return bytes;
    }
    std::string Rest()
    {
        std::string rest(reinterpret_cast<const char*>(m_data + m_at), m_size - m_at);
        m_at = m_size;
        return rest;
    }
    size_t Left() const { return m_size - m_at; }

private:
    const unsigned char* m_data;
    size_t m_size;
    size_t m_at = 0;
};

}  // namespace fuzz
