#pragma once

#include <string>

namespace QVLogging {

// One per source file: the file's short name in lower case, which is the key
// of per-source-file log settings.
class CLogSourceFile {
public:
    // `path` as the build gives it; what follows its last backslash (one at
    // index 0 is not looked at) is kept.
    explicit CLogSourceFile(const wchar_t* path);
    virtual ~CLogSourceFile() = default;

    const std::wstring& GetName() const { return m_name; }

private:
    std::wstring m_name;
};

}  // namespace QVLogging
