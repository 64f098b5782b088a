#include "common/Terminal.h"

namespace tools {

bool Terminal::IsTerminal(HANDLE handle)
{
    DWORD mode = 0;
    return handle != nullptr && handle != INVALID_HANDLE_VALUE && GetFileType(handle) == FILE_TYPE_CHAR
           && GetConsoleMode(handle, &mode) != 0;
}

}  // namespace tools
