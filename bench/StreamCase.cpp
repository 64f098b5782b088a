#include "StreamCase.h"

namespace bench {

StreamCase::StreamCase(const std::string& id, Direction direction, int port, unsigned long chunk)
    : BenchCase(id, Unit::MegabytesPerSecond), m_direction(direction), m_port(port),
      m_buffer(chunk, 'w')
{
}

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
    address->CreateStream(m_port, &m_stream);
    address->Dispose();
    return m_stream != nullptr && m_stream->Open() == 0;
}

unsigned long long StreamCase::Step()
{
    unsigned long moved = 0;
    const unsigned long size = static_cast<unsigned long>(m_buffer.size());
    const unsigned long status = m_direction == Direction::Write
        ? m_stream->Write(m_buffer.data(), size, &moved)
        : m_stream->Read(m_buffer.data(), size, &moved);
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
