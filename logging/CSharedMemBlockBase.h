#pragma once

namespace QVLogging {

// The base of a block that the log modules of one process share in a mapped
// section (see CSharedBlockT): its table, then the count of the modules
// attached.
class CSharedMemBlockBase {
public:
    virtual ~CSharedMemBlockBase() = default;

    unsigned long m_attachCount = 0;
};

}  // namespace QVLogging
