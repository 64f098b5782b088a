#pragma once

#include <windows.h>

#include <string>

namespace QVUtils {

// Path helpers for backslash-separated paths with an optional drive.
class CPathUtils {
public:
    // The path without its last component: "C:\a" gives "C:\", "C:\a\b" gives
    // "C:\a", "\a" gives "\", "a" gives "".
    static std::wstring StripFilename(const std::wstring& path);
    // The folder of the process's executable; worked out once.
    static std::wstring GetPathOfExecutable();
    // `a` and `b` joined by exactly one backslash; with either empty, the other.
    static std::wstring CombinePath(const std::wstring& a, const std::wstring& b);
    // The data folder of this installation, made first when `create` is set.
    static std::wstring GetTamrikDataDirectory(bool create);
    // Makes the folder and any missing parents. 0 when the folder exists or
    // was made, 0x8004FFFF for an empty path, E_FAIL when a folder can't be made.
    static HRESULT CreatePathHierarchy(const std::wstring& path, LPSECURITY_ATTRIBUTES attributes);
    static bool DirectoryExists(const std::wstring& path);
};

}  // namespace QVUtils
