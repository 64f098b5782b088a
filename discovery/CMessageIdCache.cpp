#include "discovery/CMessageIdCache.h"

namespace QVDiscovery {

namespace {

constexpr unsigned long kAdded = 0;
constexpr unsigned long kAlreadyThere = 1;
constexpr unsigned long kInvalidArgument = 0x80070057;

char Lower(char c)
{
    return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
}

}  // namespace

bool CMessageIdCache::SameId(const char* a, const char* b)
{
    for (; *a != '\0' && Lower(*a) == Lower(*b); ++a, ++b) {
    }
    return Lower(*a) == Lower(*b);
}

bool CMessageIdCache::Contains(const char* id) const
{
    if (id == nullptr) {
        return false;
    }
    for (const std::string& known : m_ids) {
        if (SameId(known.c_str(), id)) {
            return true;
        }
    }
    return false;
}

unsigned long CMessageIdCache::Add(const char* id)
{
    if (id == nullptr || *id == '\0') {
        return kInvalidArgument;
    }
    if (Contains(id)) {
        return kAlreadyThere;
    }
    if (m_capacity != 0 && m_ids.size() >= m_capacity - 1) {
        m_ids.pop_front();
    }
    m_ids.emplace_back(id);
    return kAdded;
}

void CMessageIdCache::Clear()
{
    m_ids.clear();
}

}  // namespace QVDiscovery
