#define _CRT_RAND_S
#include "tools/DevsimProcess.h"

#include <cstdlib>
#include <cwchar>
#include <fstream>
#include <sstream>

namespace toolstest {

namespace {

std::wstring TempName(const wchar_t* prefix)
{
    static int counter = 0;
    wchar_t folder[MAX_PATH];
    GetTempPathW(MAX_PATH, folder);
    return std::wstring(folder) + prefix + std::to_wstring(GetCurrentProcessId()) + L"-" + std::to_wstring(++counter)
           + L"-" + std::to_wstring(GetTickCount64());
}

std::string ReadWhole(const std::wstring& path)
{
    std::ifstream in(path.c_str(), std::ios::binary);
    std::ostringstream bytes;
    bytes << in.rdbuf();
    return bytes.str();
}

unsigned short PortAfterColon(const std::string& line)
{
    return static_cast<unsigned short>(std::atoi(line.substr(line.rfind(':') + 1).c_str()));
}

}  // namespace

std::wstring RandomLoopbackAddress(unsigned net)
{
    unsigned int random = 0;
    rand_s(&random);
    return L"127." + std::to_wstring(net) + L"." + std::to_wstring(1 + random % 250) + L"."
           + std::to_wstring(1 + (random >> 8) % 250);
}

std::wstring RandomToken()
{
    unsigned int random = 0;
    rand_s(&random);
    wchar_t text[16];
    swprintf(text, 16, L"%08x", random);
    return text;
}

DevsimProcess::DevsimProcess(std::vector<std::wstring> extra)
    : DevsimProcess([extra] { return extra; })
{
}

DevsimProcess::DevsimProcess(const std::function<std::vector<std::wstring>()>& extra)
    : m_folder(TempName(L"devsim-jobs-"))
{
    // A port in use makes the simulator exit at once; try the next pair,
    // drawn at random. Both stay where the library works: HTTP requests on
    // 80 to 8080, streams on 80 to 9100. The discovery port may be held
    // for a moment by another run's test on this machine, and a process
    // may fail to start on a loaded one: an attempt that ended lets a
    // little time pass before the next (no event tells when a port is free).
    for (unsigned attempt = 0; attempt < 20 && m_jobPort == 0; ++attempt) {
        unsigned int random = 0;
        rand_s(&random);
        const unsigned short jobPort = static_cast<unsigned short>(8100 + random % 900);
        const unsigned short httpPort = static_cast<unsigned short>(8000 + (random >> 12) % 81);
        std::vector<std::wstring> arguments{L"--job-port", std::to_wstring(jobPort), L"--http-port",
                                            std::to_wstring(httpPort), L"--jobs", m_folder, L"--seconds", L"60"};
        const std::vector<std::wstring> more = extra();
        arguments.insert(arguments.end(), more.begin(), more.end());
        if (m_process) {
            m_failures += m_process->Errors();
        }
        m_process = std::make_unique<ChildProcess>();
        if (!m_process->Start(L"orvane-devsim.exe", arguments)) {
            m_failures += "orvane-devsim.exe did not start: error " + std::to_string(GetLastError()) + "\n";
            Sleep(50 * (attempt + 1));
            continue;
        }
        // A start on a busy machine may take seconds; one that fails ends
        // the wait at once.
        const std::string http = m_process->WaitForLine("http port listening on ", 30000);
        if (!http.empty()) {
            m_jobPort = PortAfterColon(m_process->WaitForLine("job port listening on "));
            m_httpPort = PortAfterColon(http);
        } else if (m_process->Wait(0) != -1) {
            Sleep(50 * (attempt + 1));
        }
    }
    if (m_jobPort == 0) {
        m_failures += m_process->Errors();
    }
}

std::vector<std::string> DevsimProcess::HttpRequests()
{
    const std::string peer = "from 127.0.0.1:";
    std::vector<std::string> requests;
    for (const std::string& line : m_process->OutputLines()) {
        const size_t at = line.find(peer);
        if (line.rfind("http ", 0) == 0 && at != std::string::npos) {
            const size_t port = at + peer.size();
            requests.push_back(line.substr(0, port) + "P" + line.substr(line.find(':', port)));
        }
    }
    return requests;
}

DevsimProcess::~DevsimProcess()
{
    if (m_process) {
        m_process->Terminate();
    }
    WIN32_FIND_DATAW found;
    HANDLE search = FindFirstFileW((m_folder + L"\\*").c_str(), &found);
    if (search != INVALID_HANDLE_VALUE) {
        do {
            DeleteFileW((m_folder + L"\\" + found.cFileName).c_str());
        } while (FindNextFileW(search, &found));
        FindClose(search);
    }
    RemoveDirectoryW(m_folder.c_str());
}

std::wstring DevsimProcess::JobTarget() const
{
    return L"127.0.0.1:" + std::to_wstring(m_jobPort);
}

bool DevsimProcess::ReadJob(const std::wstring& name, std::string* bytes, DWORD ms) const
{
    const std::wstring path = m_folder + L"\\" + name;
    const ULONGLONG deadline = GetTickCount64() + ms;
    while (GetFileAttributesW(path.c_str()) == INVALID_FILE_ATTRIBUTES) {
        if (GetTickCount64() >= deadline) {
            return false;
        }
        Sleep(20);
    }
    *bytes = ReadWhole(path);
    return true;
}

TempFile::TempFile() : m_path(TempName(L"orvane-tools-")) {}

TempFile::TempFile(const std::string& contents) : TempFile()
{
    std::ofstream out(m_path.c_str(), std::ios::binary);
    out.write(contents.data(), static_cast<std::streamsize>(contents.size()));
}

TempFile::~TempFile()
{
    DeleteFileW(m_path.c_str());
}

std::string TempFile::Contents() const
{
    return ReadWhole(m_path);
}

}  // namespace toolstest
