#pragma once

#include "TransferCase.h"
#include "orvane64.h"

namespace bench {

// Our figure of a stream case: Stream::Write or Stream::Read of `chunk`
// bytes at a time on a stream to 127.0.0.1:`port`, made through the public
// creation functions as a host makes it.
class StreamCase : public TransferCase {
public:
    using TransferCase::TransferCase;
    ~StreamCase() override;

    bool Begin() override;
    unsigned long long Step() override;
    void End() override;

private:
    Orvane::Stream* m_stream = nullptr;
};

}  // namespace bench
