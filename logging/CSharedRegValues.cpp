#include "logging/CSharedRegValues.h"

#include <memory>

#include "logging/CLogFileInfo.h"
#include "logging/CLogSettings.h"

namespace QVLogging {

CSharedRegValues::CSharedRegValues(std::wstring processName)
    : m_processName(std::make_unique<std::wstring>(std::move(processName))),
      m_indent(std::make_unique<std::wstring>()),
      m_sourceFileSettings(std::make_unique<std::map<std::wstring, CLogSettings*>>()),
      m_logFiles(std::make_unique<std::vector<CLogFileInfo*>>())
{
}

CSharedRegValues::~CSharedRegValues()
{
    for (auto& entry : *m_sourceFileSettings) {
        delete entry.second;
    }
    for (CLogFileInfo* file : *m_logFiles) {
        delete file;
    }
}

CLogFileInfo* CSharedRegValues::FindOrAddLogFile(const std::wstring& fileName)
{
    for (CLogFileInfo* file : *m_logFiles) {
        if (file->m_fileName == fileName) {
            return file;
        }
    }
    auto file = std::make_unique<CLogFileInfo>(fileName);
    m_logFiles->push_back(file.get());
    return file.release();
}

CLogSettings* CSharedRegValues::FindSourceFileSettings(const wchar_t* sourceFile) const
{
    if (sourceFile == nullptr || m_sourceFileSettings->empty()) {
        return nullptr;
    }
    const auto found = m_sourceFileSettings->find(sourceFile);
    return found == m_sourceFileSettings->end() ? nullptr : found->second;
}

void CSharedRegValues::SetSourceFileSettings(const std::wstring& sourceFile,
                                             CLogSettings* settings)
{
    (*m_sourceFileSettings)[sourceFile] = settings;
}

std::set<std::wstring, std::less<>> CSharedRegValues::SourceFileNames() const
{
    std::set<std::wstring, std::less<>> names;
    for (const auto& entry : *m_sourceFileSettings) {
        names.insert(entry.first);
    }
    return names;
}

}  // namespace QVLogging
