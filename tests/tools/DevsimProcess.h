// orvane-devsim.exe run by a test: a job port from 8100 to 8999 (within the
// ports on which the library makes streams), a web server port from 8000 to
// 8080 (where it makes HTTP requests), and a jobs folder of its own that goes
// away with this object.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "tools/ChildProcess.h"

namespace toolstest {

class DevsimProcess {
public:
    // Extra arguments go after the ports and folder, such as "--idle".
    explicit DevsimProcess(std::vector<std::wstring> extra = {});
    ~DevsimProcess();
    DevsimProcess(const DevsimProcess&) = delete;
    DevsimProcess& operator=(const DevsimProcess&) = delete;

    bool Running() const { return m_jobPort != 0; }
    unsigned short JobPort() const { return m_jobPort; }
    unsigned short HttpPort() const { return m_httpPort; }
    // "127.0.0.1:port" of the job port, as orvane.exe takes it.
    std::wstring JobTarget() const;
    const std::wstring& JobsFolder() const { return m_folder; }
    // The bytes of a stored job file; waits up to `ms` for it to appear.
    bool ReadJob(const std::wstring& name, std::string* bytes, DWORD ms = 10000) const;
    ChildProcess& Process() { return *m_process; }
    // The log lines of HTTP requests so far, each peer's port written "P":
    // "http GET /status from 127.0.0.1:P: 200".
    std::vector<std::string> HttpRequests();

private:
    std::unique_ptr<ChildProcess> m_process;
    std::wstring m_folder;
    unsigned short m_jobPort = 0;
    unsigned short m_httpPort = 0;
};

// A scratch file under the temporary folder, deleted with this object.
class TempFile {
public:
    explicit TempFile(const std::string& contents);
    TempFile();
    ~TempFile();
    const std::wstring& Path() const { return m_path; }
    std::string Contents() const;

private:
    std::wstring m_path;
};

}  // namespace toolstest
