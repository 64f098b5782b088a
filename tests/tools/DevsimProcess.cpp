#include "tools/DevsimProcess.h"

#include <cstdlib>
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

DevsimProcess::DevsimProcess(std::vector<std::wstring> extra) : m_folder(TempName(L"devsim-jobs-"))
{
    // A port in use makes the simulator exit at once; try the next pair.
    // Both stay where the library works: HTTP requests on 80 to 8080,
    // streams on 80 to 9100.
    const unsigned seed = GetCurrentProcessId() * 7 + GetTickCount();
    for (unsigned attempt = 0; attempt < 20 && m_jobPort == 0; ++attempt) {
        const unsigned short jobPort = static_cast<unsigned short>(8100 + (seed + attempt * 37) % 900);
        const unsigned short httpPort = static_cast<unsigned short>(8000 + (seed + attempt * 13) % 81);
        std::vector<std::wstring> arguments{L"--job-port", std::to_wstring(jobPort), L"--http-port",
                                            std::to_wstring(httpPort), L"--jobs", m_folder, L"--seconds", L"60"};
        arguments.insert(arguments.end(), extra.begin(), extra.end());
        m_process = std::make_unique<ChildProcess>();
        if (!m_process->Start(L"orvane-devsim.exe", arguments)) {
            return;
        }
        const std::string http = m_process->WaitForLine("http port listening on ");
        if (!http.empty()) {
            m_jobPort = PortAfterColon(m_process->WaitForLine("job port listening on "));
            m_httpPort = PortAfterColon(http);
        }
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
