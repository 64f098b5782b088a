#pragma once

#include <string>

namespace QVUtils {

// A file rewritten beside itself: the changes go to a copy of it, which
// takes the file's place in one move once they are all in. Until then the
// file stays as it was; a copy that is not put in place is removed.
class CStagedFile {
public:
    explicit CStagedFile(const std::wstring& path);
    ~CStagedFile();
    CStagedFile(const CStagedFile&) = delete;
    CStagedFile& operator=(const CStagedFile&) = delete;

    // Makes the copy: the file's bytes, or nothing when there is no file.
    // False, with the platform's last error, when the copy can't be made.
    bool Begin();
    // Where the changes are written.
    const std::wstring& Path() const { return m_staged; }
    // Puts the copy in the file's place, written through to the disk.
    bool Commit();

private:
    std::wstring m_path;
    std::wstring m_staged;
    bool m_bCommitted = false;
};

}  // namespace QVUtils
