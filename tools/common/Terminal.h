// Whether a standard handle is an interactive console.
#pragma once

#include <windows.h>

namespace tools {

class Terminal {
public:
    // True for a character device that answers GetConsoleMode; false for a
    // pipe, a file, or a character device that is no console (such as NUL).
    static bool IsTerminal(HANDLE handle);
};

}  // namespace tools
