// orvane-devsim.exe run by a test: a job port from 8100 to 8999 (within the
// ports on which the library makes streams), a web server port from 8000 to
// 8080 (where it makes HTTP requests), and a jobs folder of its own that goes
// away with this object.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "tools/ChildProcess.h"

namespace toolstest {

class DevsimProcess {
public:
    // Extra arguments go after the ports and folder, such as "--idle".
    explicit DevsimProcess(std::vector<std::wstring> extra = {});
    // The extra arguments made anew for each attempt to start: a simulator
    // that binds an address of its own takes another one when the last was
    // taken (its discovery web port is a fixed one).
    explicit DevsimProcess(const std::function<std::vector<std::wstring>()>& extra);
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
    // What the simulators of the attempts that did not start wrote on
    // standard error, such as the port or address that was taken.
    const std::string& Failures() const { return m_failures; }
    // The log lines of HTTP requests so far, each peer's port written "P":
    // "http GET /status from 127.0.0.1:P: 200".
    std::vector<std::string> HttpRequests();

private:
    std::unique_ptr<ChildProcess> m_process;
    std::wstring m_folder;
    std::string m_failures;
    unsigned short m_jobPort = 0;
    unsigned short m_httpPort = 0;
};

// "127.NET.b.c" with b and c drawn from the system's random source. Process
// ids and ticks are no seed: runs of the suite in other Wine prefixes on
// this machine see the same ones, and they share the host's loopback.
std::wstring RandomLoopbackAddress(unsigned net);
// Eight hex digits from the same source: names such as a discovery type
// that no run in another prefix uses at the same time.
std::wstring RandomToken();

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
