#include "fuzz/GuardedBuffer.h"

#include <windows.h>

#include <cstring>
#include <stdexcept>

namespace fuzz {

namespace {

size_t PageSize()
{
    SYSTEM_INFO info;
    GetSystemInfo(&info);
    return info.dwPageSize;
}

}  // namespace

GuardedBuffer::GuardedBuffer(size_t maxSize)
{
    const size_t page = m_page = PageSize();
    m_usable = (maxSize + page - 1) / page * page + page;
    m_base = static_cast<unsigned char*>(VirtualAlloc(nullptr, m_usable + page, MEM_RESERVE | MEM_COMMIT,
                                                      PAGE_READWRITE));
    DWORD old = 0;
    if (m_base == nullptr || !VirtualProtect(m_base + m_usable, page, PAGE_NOACCESS, &old)) {
        throw std::runtime_error("no guarded input buffer");
    }
    m_guard = m_base + m_usable;
}

GuardedBuffer::~GuardedBuffer()
{
    VirtualFree(m_base, 0, MEM_RELEASE);
}

const unsigned char* GuardedBuffer::Place(const std::string& input)
{
    const size_t size = input.size() < m_usable ? input.size() : m_usable;
    unsigned char* start = m_guard - size;
    std::memcpy(start, input.data(), size);
    return start;
}

bool GuardedBuffer::IsGuard(const void* address) const
{
    const unsigned char* at = static_cast<const unsigned char*>(address);
    return at >= m_guard && at < m_guard + m_page;
}

}  // namespace fuzz
