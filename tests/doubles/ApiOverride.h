#pragma once

namespace doubles {

// Points one of the process-wide QVWinApi pointers (g_pKernelApi, ...) at a
// double for the life of the object and restores it afterwards.
//
// A double usually derives from the concrete class (QVWinApi::CKernelApi,
// ...) and overrides only the operations a test is about, everything else
// still reaching the platform; GoogleMock's MOCK_METHOD(..., (override)) in
// such a class works the same way. Deriving from the interface itself gives
// a double that has to answer every operation.
template <typename Api>
class ApiOverride {
public:
    ApiOverride(Api*& slot, Api& replacement) : m_slot(slot), m_pSaved(slot)
    {
        m_slot = &replacement;
    }
    ~ApiOverride() { m_slot = m_pSaved; }
    ApiOverride(const ApiOverride&) = delete;
    ApiOverride& operator=(const ApiOverride&) = delete;

private:
    Api*& m_slot;
    Api* m_pSaved;
};

}  // namespace doubles
