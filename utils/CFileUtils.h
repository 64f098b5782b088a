#pragma once

#include <string>
#include <vector>

namespace QVUtils {

// File and folder helpers that say what went wrong in the log.
class CFileUtils {
public:
    // Makes one folder; true also when it exists (last error then 0). An
    // access denial is tried once more after 250 milliseconds.
    static bool CreateDirectoryW(const std::wstring& path);
    // Deletes a file, clearing its read-only attribute first.
    static bool DeleteFileW(const std::wstring& path);
    static bool IsWindows7OrLater();
    // The names of the files of `folder` that match `pattern` ("*.ini"),
    // in the platform's order; none for a missing folder.
    static std::vector<std::wstring> FindFiles(const std::wstring& folder, const wchar_t* pattern);
};

}  // namespace QVUtils
