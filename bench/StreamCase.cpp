#include "StreamCase.h"

namespace bench {

StreamCase::~StreamCase()
{
    End();
}

bool StreamCase::Begin()
{
    Orvane::Address* address = Orvane::CreateAddressFromIPAddress(L"127.0.0.1");
    if (address == nullptr) {
        return false;
    }
    address->CreateStream(Port(), &m_stream);
    address->Dispose();
    if (m_stream == nullptr || m_stream->Open() != 0) {
        return false;
    }
    // The connection's first transfer makes the event it keeps for that
    // direction: the rows are of the calls after it, as a raw loop's are of
    // the calls after its own event was made.
    return Step() != 0;
}

unsigned long long StreamCase::Step()
{
    unsigned long moved = 0;
    std::vector<char>& chunk = Chunk();
    const unsigned long size = static_cast<unsigned long>(chunk.size());
    const unsigned long status = Writes() ? m_stream->Write(chunk.data(), size, &moved)
                                          : m_stream->Read(chunk.data(), size, &moved);
    return status == 0 ? moved : 0;
}

void StreamCase::End()
{
    if (m_stream != nullptr) {
        m_stream->Dispose();
        m_stream = nullptr;
    }
}

}  // namespace bench
