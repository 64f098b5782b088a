#pragma once

#include <string>

#include "BenchCase.h"

namespace bench {

// A folder of network device records, written for the bench and removed
// again: `count` whole records with a configuration section.
class RecordFolder {
public:
    explicit RecordFolder(unsigned long count);
    ~RecordFolder();
    RecordFolder(const RecordFolder&) = delete;
    RecordFolder& operator=(const RecordFolder&) = delete;

    bool Ready() const { return m_bReady; }
    unsigned long Count() const { return m_ulCount; }

private:
    unsigned long m_ulCount;
    bool m_bReady = false;
};

// The records of the folder listed. "ours": CNetworkDevices, each record
// through its profile functions; End prints the reads of record files at
// the record's file seam, each of which opens the file:
// "seam <id> <opens per record> <records listed>". "read": the floor, the
// folder listed and each file opened and read once.
class RecordListCase : public BenchCase {
public:
    RecordListCase(const std::string& id, RecordFolder* folder, bool ours);

    bool Begin() override;
    unsigned long long Step() override;
    void End() override;

private:
    bool ReadEachOnce();

    RecordFolder* m_pFolder;
    bool m_bOurs;
    unsigned long m_ulSteps = 0;
    unsigned long long m_ullOpens = 0;
    unsigned long long m_ullListed = 0;
};

}  // namespace bench
