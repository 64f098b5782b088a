#include "devicemanager/CDevNodeCache.h"

#include <setupapi.h>

#include <string>

#include "devicemanager/CDevNode.h"
#include "logging/CLogLock.h"
#include "logging/LogTrace.h"
#include "utils/CProgressAggregator.h"
#include "winapi/IKernelApi.h"
#include "winapi/ISetupApi.h"

QV_LOG_SOURCE_FILE()

namespace QVDeviceManager {

namespace {

using Lock = QVLogging::CLogLock;
constexpr DWORD kPresentAllClasses = 0x0C;  // DIGCF_PRESENT | DIGCF_ALLCLASSES

}  // namespace

CDevNodeCache::CDevNodeCache()
{
    g_pKernelApi->InitializeCriticalSection(&m_parentsLock);
    g_pKernelApi->InitializeCriticalSection(&m_childrenLock);
}

CDevNodeCache::~CDevNodeCache()
{
    g_pKernelApi->DeleteCriticalSection(&m_childrenLock);
    g_pKernelApi->DeleteCriticalSection(&m_parentsLock);
}

namespace {

CDevNodeCache* g_pGlobalCache = nullptr;

}  // namespace

CDevNodeCache& CDevNodeCache::Global()
{
    static CDevNodeCache s_cache;
    return g_pGlobalCache != nullptr ? *g_pGlobalCache : s_cache;
}

void CDevNodeCache::SetGlobal(CDevNodeCache* cache)
{
    g_pGlobalCache = cache;
}

bool CDevNodeCache::RefreshMap(DEVINST node, QVUtils::IProgress* progress, bool force)
{
    Lock parents(m_parentsLock);
    Lock children(m_childrenLock);
    // The maps hold each node's place as read at the last rebuild: a node
    // they know is answered from them, an unknown one makes them read again.
    if (!force && m_children.count(node) != 0) {
        return true;
    }
    QV_LOG_FUNCTION(g_pDeviceManagerLibLog, L"QVDeviceManager::CDevNodeCache::RefreshMap");
    bool listed = false;
    Rebuild(progress, listed);
    return listed;
}

void CDevNodeCache::Rebuild(QVUtils::IProgress* progress, bool& listed)
{
    QV_LOG_FUNCTION(g_pDeviceManagerLibLog, L"QVDeviceManager::CDevNodeCache::Rebuild");
    QVUtils::CProgressAggregator aggregator(progress, 2);
    m_parents.clear();
    m_children.clear();
    const HDEVINFO set = g_pSetupApi->SetupDiGetClassDevsW(nullptr, nullptr, nullptr, kPresentAllClasses);
    if (set == INVALID_HANDLE_VALUE) {
        QV_LOG_ERROR(L"GetClassDevs failed, err=%d", static_cast<int>(::GetLastError()));
        return;
    }
    listed = true;
    std::map<std::wstring, DEVINST> prefixes;
    SP_DEVINFO_DATA data = {};
    data.cbSize = sizeof data;
    for (DWORD index = 0; g_pSetupApi->SetupDiEnumDeviceInfo(set, index, &data); ++index) {
        m_children[data.DevInst] = 0;
        std::wstring prefix;
        if (CDevNode(data.DevInst).GetEnumValue(L"ParentIdPrefix", prefix) == 0 && !prefix.empty()) {
            m_parents[data.DevInst];
            prefixes.emplace(prefix, data.DevInst);
        }
    }
    aggregator.StepNext(0);
    QVUtils::CProgressAggregator nodes(&aggregator, static_cast<unsigned long>(m_children.size()));
    for (auto& [node, parent] : m_children) {
        std::wstring serial;
        if (CDevNode(node).GetSerialNumber(serial)) {
            for (const auto& [prefix, candidate] : prefixes) {
                if (candidate == node || serial.compare(0, prefix.size(), prefix) != 0) {
                    continue;
                }
                if (parent == 0) {
                    parent = candidate;
                    m_parents[candidate].push_back(node);
                } else {
                    QV_LOG_ERROR(L"%s also begins with the ParentIdPrefix %s; the first match stays its parent",
                                 serial.c_str(), prefix.c_str());
                }
            }
        } else {
            QV_LOG_ERROR(L"No serial number for node %u", static_cast<unsigned>(node));
        }
        nodes.StepNext(0);
    }
    CutCycles();
    if (!g_pSetupApi->SetupDiDestroyDeviceInfoList(set)) {
        QV_LOG_ERROR(L"DestroyDeviceInfoList failed with err = %d", static_cast<int>(::GetLastError()));
    }
}

// Prefixes that tie nodes in a ring would make every walk endless: the link
// that closes a ring is dropped.
void CDevNodeCache::CutCycles()
{
    QV_LOG_FUNCTION(g_pDeviceManagerLibLog, L"QVDeviceManager::CDevNodeCache::CutCycles");
    for (auto& [node, parent] : m_children) {
        DEVINST above = parent;
        for (size_t steps = 0; above != 0 && steps < m_children.size(); ++steps) {
            if (above == node) {
                std::wstring id;
                CDevNode(node).GetDeviceID(id);
                QV_LOG_ERROR(L"ParentIdPrefix cycle at %s, its parent link is dropped", id.c_str());
                m_parents[parent].remove(node);
                parent = 0;
                break;
            }
            const auto next = m_children.find(above);
            above = next == m_children.end() ? 0 : next->second;
        }
    }
}

bool CDevNodeCache::GetParent(DEVINST node, DEVINST& parent, QVUtils::IProgress* progress)
{
    RefreshMap(node, progress, false);
    Lock children(m_childrenLock);
    const auto found = m_children.find(node);
    if (found == m_children.end() || found->second == 0) {
        return false;
    }
    parent = found->second;
    return true;
}

bool CDevNodeCache::GetFirstChild(DEVINST node, DEVINST& child, QVUtils::IProgress* progress)
{
    RefreshMap(node, progress, false);
    Lock parents(m_parentsLock);
    const auto found = m_parents.find(node);
    if (found == m_parents.end() || found->second.empty()) {
        return false;
    }
    child = found->second.front();
    return true;
}

bool CDevNodeCache::GetNextSibling(DEVINST node, DEVINST& next)
{
    RefreshMap(node, nullptr, false);
    DEVINST parent = 0;
    {
        Lock children(m_childrenLock);
        const auto found = m_children.find(node);
        if (found == m_children.end() || found->second == 0) {
            return false;
        }
        parent = found->second;
    }
    Lock parents(m_parentsLock);
    const auto list = m_parents.find(parent);
    if (list == m_parents.end()) {
        return false;
    }
    for (auto at = list->second.begin(); at != list->second.end(); ++at) {
        if (*at == node) {
            if (++at == list->second.end()) {
                return false;
            }
            next = *at;
            return true;
        }
    }
    return false;
}

bool CDevNodeCache::IsParent(DEVINST node, QVUtils::IProgress* progress)
{
    RefreshMap(node, progress, false);
    Lock parents(m_parentsLock);
    return m_parents.count(node) != 0;
}

void CDevNodeCache::Invalidate()
{
    Lock parents(m_parentsLock);
    Lock children(m_childrenLock);
    m_parents.clear();
    m_children.clear();
}

}  // namespace QVDeviceManager
