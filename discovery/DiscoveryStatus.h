#pragma once

namespace QVDiscovery {

// Statuses of the discovery library.
constexpr unsigned long DISCOVERY_OK = 0;
constexpr unsigned long DISCOVERY_E_EVENT_WAIT = 1;
constexpr unsigned long DISCOVERY_E_WINSOCK = 2;
constexpr unsigned long DISCOVERY_E_STOPPED = 3;
constexpr unsigned long DISCOVERY_E_OUTOFMEMORY = 4;
constexpr unsigned long DISCOVERY_E_INVALIDARG = 5;
constexpr unsigned long DISCOVERY_E_ALREADY_REGISTERED = 6;
constexpr unsigned long DISCOVERY_E_NOT_REGISTERED = 7;
constexpr unsigned long DISCOVERY_E_NOT_FOUND = 11;
constexpr unsigned long DISCOVERY_E_INTERNAL = 12;
constexpr unsigned long DISCOVERY_E_NETWORK = 13;

// What a thread's result holds until the thread writes it.
constexpr unsigned long kDiscoveryResultPending = 10;

// Search types.
constexpr unsigned long DISCOVERY_SEARCH_BY_ID = 0;
constexpr unsigned long DISCOVERY_SEARCH_BY_ADDRESS = 1;
constexpr unsigned long DISCOVERY_SEARCH_BY_TYPE = 2;

}  // namespace QVDiscovery
