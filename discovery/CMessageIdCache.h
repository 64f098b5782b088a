#pragma once

#include <list>
#include <string>

namespace QVDiscovery {

// The identifiers of the messages a session has received, oldest first, by
// which retransmissions are dropped. Identifiers that differ only in the
// case of A to Z are one.
class CMessageIdCache {
public:
    // With a capacity of n the list holds at most n - 1 entries; 0 means no
    // limit.
    explicit CMessageIdCache(unsigned long capacity) : m_capacity(capacity) {}
    virtual ~CMessageIdCache() = default;

    virtual bool Contains(const char* id) const;
    // 0 when added, 1 when already there, E_INVALIDARG for a null or empty one.
    virtual unsigned long Add(const char* id);
    virtual void Clear();

    size_t Size() const { return m_ids.size(); }
    // Two identifiers are one when they differ only in the case of A to Z.
    static bool SameId(const char* a, const char* b);

private:
    unsigned long m_capacity;
    std::list<std::string> m_ids;
};

}  // namespace QVDiscovery
