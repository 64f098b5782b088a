#pragma once

#include <windows.h>

#include <string>

namespace bench {

// Brackets the operations of a counting run with two named events, whose
// creation the wineserver trace shows as "orvane-bench-begin:<id>" and
// "orvane-bench-end:<id>": the report counts the requests in between.
// Both handles stay open until the marker goes, so no close falls inside.
class RoundTripMarker {
public:
    explicit RoundTripMarker(const std::string& id);
    ~RoundTripMarker();
    RoundTripMarker(const RoundTripMarker&) = delete;
    RoundTripMarker& operator=(const RoundTripMarker&) = delete;

    void End();

private:
    std::wstring m_id;
    HANDLE m_begin;
    HANDLE m_end = nullptr;
};

}  // namespace bench
