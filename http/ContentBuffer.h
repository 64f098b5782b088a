#pragma once

namespace QVIOStack {

// A caller's buffer for the content of a response; the caller owns it.
struct ContentBuffer {
    unsigned char* pBuffer;
    unsigned long ulBufferSize;  // capacity in bytes
    unsigned long ulBufferUsed;  // bytes in it
};

}  // namespace QVIOStack
