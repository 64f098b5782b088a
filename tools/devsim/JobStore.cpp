#include "devsim/JobStore.h"

#include <windows.h>

#include <cstdio>

#include "common/ErrorText.h"
#include "common/Text.h"

namespace devsim {

JobStore::JobStore(std::wstring folder, EventLog& log) : m_folder(std::move(folder)), m_log(log) {}

bool JobStore::Prepare(std::string* error)
{
    wchar_t full[MAX_PATH];
    const DWORD length = GetFullPathNameW(m_folder.c_str(), MAX_PATH, full, nullptr);
    if (length == 0 || length >= MAX_PATH) {
        *error = "invalid jobs folder '" + tools::Text::Narrow(m_folder) + "'";
        return false;
    }
    m_folder = full;
    if (!CreateDirectoryW(m_folder.c_str(), nullptr) && GetLastError() != ERROR_ALREADY_EXISTS) {
        *error = "cannot make the jobs folder " + tools::Text::Narrow(m_folder) + ": error "
                 + tools::ErrorText::Describe(GetLastError());
        return false;
    }
    m_log.Line("jobs go to " + tools::Text::Narrow(m_folder));
    return true;
}

std::unique_ptr<JobFile> JobStore::Begin()
{
    wchar_t name[32];
    std::swprintf(name, 32, L"job-%04d.prn", m_nextNumber);
    return std::make_unique<JobFile>(m_nextNumber++, m_folder + L"\\" + name);
}

void JobStore::Complete(JobFile& job)
{
    const std::string path = tools::Text::Narrow(job.Path());
    const std::string bytes = std::to_string(job.Bytes());
    if (!job.Complete()) {
        m_log.Line("job " + std::to_string(job.Number()) + " of " + bytes + " bytes could not be stored in " + path);
        return;
    }
    m_jobs.push_back({job.Number(), path.substr(path.rfind('\\') + 1), job.Bytes()});
    m_log.Line("job " + std::to_string(job.Number()) + " stored " + bytes + " bytes in " + path);
}

}  // namespace devsim
