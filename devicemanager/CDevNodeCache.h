#pragma once

#include <windows.h>
#include <cfgmgr32.h>

#include <list>
#include <map>

#include "utils/IProgress.h"

namespace QVDeviceManager {

// The parent and child relations of the device tree, read once for the
// whole tree: a composite device's interface nodes are tied to their parent
// by the parent's "ParentIdPrefix", the start of their serial numbers.
//
// Two locks, always taken parents lock first: a rebuild holds both, a lookup
// only the one of the map it reads, and only while it reads.
class CDevNodeCache {
public:
    CDevNodeCache();
    ~CDevNodeCache();
    CDevNodeCache(const CDevNodeCache&) = delete;
    CDevNodeCache& operator=(const CDevNodeCache&) = delete;

    // The library's one cache: the one set by the device manager's start,
    // else one that lives as long as the program.
    static CDevNodeCache& Global();
    static void SetGlobal(CDevNodeCache* cache);

    // Rebuilds the maps when `force` or when they don't know `node`; false
    // when the platform gave no device list.
    bool RefreshMap(DEVINST node, QVUtils::IProgress* progress, bool force);
    // False when the parent is unknown.
    bool GetParent(DEVINST node, DEVINST& parent, QVUtils::IProgress* progress);
    bool GetFirstChild(DEVINST node, DEVINST& child, QVUtils::IProgress* progress);
    bool GetNextSibling(DEVINST node, DEVINST& next);
    // Whether the node has a "ParentIdPrefix", and so a list of children.
    bool IsParent(DEVINST node, QVUtils::IProgress* progress);
    // The next lookup rebuilds: nodes were removed.
    void Invalidate();

private:
    void Rebuild(QVUtils::IProgress* progress, bool& listed);
    void CutCycles();

    std::map<DEVINST, std::list<DEVINST>> m_parents;
    std::map<DEVINST, DEVINST> m_children;
    CRITICAL_SECTION m_parentsLock;
    CRITICAL_SECTION m_childrenLock;
};

}  // namespace QVDeviceManager
