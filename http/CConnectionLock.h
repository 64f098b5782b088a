#pragma once

#include "iostack/IDeviceConnection.h"

namespace QVIOStack {

// Holds a connection's read or write lock for the life of the object, so
// that an exception on the way out still releases it.
class CConnectionLock {
public:
    enum class Side { Read, Write };

    CConnectionLock(IDeviceConnection& connection, Side side) : m_connection(connection), m_side(side)
    {
        if (m_side == Side::Read) {
            m_connection.LockRead();
        } else {
            m_connection.LockWrite();
        }
    }
    ~CConnectionLock()
    {
        if (m_side == Side::Read) {
            m_connection.UnlockRead();
        } else {
            m_connection.UnlockWrite();
        }
    }
    CConnectionLock(const CConnectionLock&) = delete;
    CConnectionLock& operator=(const CConnectionLock&) = delete;

private:
    IDeviceConnection& m_connection;
    const Side m_side;
};

}  // namespace QVIOStack
