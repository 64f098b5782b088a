// The folder of received jobs, their numbering, and the record of what was
// stored, for the status answers and the jobs page.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "devsim/EventLog.h"
#include "devsim/JobFile.h"

namespace devsim {

class JobStore {
public:
    struct StoredJob {
        int number;
        std::string name;
        uint64_t bytes;
    };

    JobStore(std::wstring folder, EventLog& log);

    // Makes the folder if needed; false, with the reason in *error.
    bool Prepare(std::string* error);
    // The next job's file, "job-NNNN.prn" in the folder.
    std::unique_ptr<JobFile> Begin();
    // Completes the file and records and logs the job.
    void Complete(JobFile& job);
    const std::vector<StoredJob>& Jobs() const { return m_jobs; }

private:
    std::wstring m_folder;
    EventLog& m_log;
    int m_nextNumber = 1;
    std::vector<StoredJob> m_jobs;
};

}  // namespace devsim
