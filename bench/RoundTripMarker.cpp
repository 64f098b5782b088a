#include "RoundTripMarker.h"

namespace bench {

RoundTripMarker::RoundTripMarker(const std::string& id) : m_id(id.begin(), id.end())
{
    m_begin = ::CreateEventW(nullptr, TRUE, FALSE, (L"orvane-bench-begin:" + m_id).c_str());
}

RoundTripMarker::~RoundTripMarker()
{
    if (m_end != nullptr) {
        ::CloseHandle(m_end);
    }
    if (m_begin != nullptr) {
        ::CloseHandle(m_begin);
    }
}

void RoundTripMarker::End()
{
    m_end = ::CreateEventW(nullptr, TRUE, FALSE, (L"orvane-bench-end:" + m_id).c_str());
}

}  // namespace bench
