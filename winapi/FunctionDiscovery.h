#pragma once

// The platform's Function Discovery interfaces, laid out as the platform's
// own objects lay them out. The toolchain's header puts QueryService of
// IFunctionInstance in the wrong slot, so the interfaces are declared here.
#include <windows.h>
#include <objbase.h>
#include <propsys.h>
#include <servprov.h>

namespace QVWinApi {

typedef DWORDLONG FDQUERYCONTEXT;

enum QueryUpdateAction { QUA_ADD = 0, QUA_REMOVE = 1, QUA_CHANGE = 2 };
enum SystemVisibilityFlags { SVF_SYSTEM = 0, SVF_USER = 1 };
enum PropertyConstraint { QC_EQUALS = 0 };

// {C72BE2EC-8E90-452C-B29A-AB8FF1C071FC}
inline constexpr CLSID CLSID_FunctionDiscovery = {
    0xc72be2ec, 0x8e90, 0x452c, {0xb2, 0x9a, 0xab, 0x8f, 0xf1, 0xc0, 0x71, 0xfc}};
inline constexpr IID IID_IFunctionDiscovery = {
    0x4df99b70, 0xe148, 0x4432, {0xb0, 0x04, 0x4c, 0x9e, 0xeb, 0x53, 0x5a, 0x5e}};
inline constexpr IID IID_IFunctionDiscoveryNotification = {
    0x5f6c1ba8, 0x5330, 0x422e, {0xa3, 0x68, 0x57, 0x2b, 0x24, 0x4d, 0x3f, 0x87}};
inline constexpr IID IID_IFunctionInstance = {
    0x33591c10, 0x0bed, 0x4f02, {0xb0, 0xab, 0x15, 0x30, 0xd5, 0x53, 0x3e, 0xe9}};
inline constexpr IID IID_IFunctionInstanceCollection = {
    0xf0a3d895, 0x855c, 0x42a2, {0x94, 0x8d, 0x2f, 0x97, 0xd4, 0x50, 0xec, 0xb1}};
inline constexpr IID IID_IFunctionInstanceCollectionQuery = {
    0x57cc6fd2, 0xc09a, 0x4289, {0xbb, 0x72, 0x25, 0xf0, 0x41, 0x42, 0x05, 0x8e}};

// The categories and the constraint the resolver asks for.
inline constexpr const wchar_t* FCTN_CATEGORY_PNP = L"Provider\\Microsoft.Base.PnP";
inline constexpr const wchar_t* FCTN_CATEGORY_WSDISCOVERY = L"Provider\\Microsoft.Networking.WSD";
inline constexpr const wchar_t* FD_QUERYCONSTRAINT_PROVIDERINSTANCEID = L"ProviderInstanceID";

struct IFunctionInstance : public IServiceProvider {
    virtual HRESULT STDMETHODCALLTYPE GetID(WCHAR** ppszCoMemIdentity) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetProviderInstanceID(WCHAR** ppszCoMemProviderInstanceIdentity) = 0;
    virtual HRESULT STDMETHODCALLTYPE OpenPropertyStore(DWORD dwStgAccess, IPropertyStore** ppIPropertyStore) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetCategory(WCHAR** ppszCoMemCategory, WCHAR** ppszCoMemSubCategory) = 0;
};

struct IFunctionInstanceCollection : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetCount(DWORD* pdwCount) = 0;
    virtual HRESULT STDMETHODCALLTYPE Get(const WCHAR* pszInstanceIdentity, DWORD* pdwIndex,
                                          IFunctionInstance** ppIFunctionInstance) = 0;
    virtual HRESULT STDMETHODCALLTYPE Item(DWORD dwIndex, IFunctionInstance** ppIFunctionInstance) = 0;
    virtual HRESULT STDMETHODCALLTYPE Add(IFunctionInstance* pIFunctionInstance) = 0;
    virtual HRESULT STDMETHODCALLTYPE Remove(DWORD dwIndex, IFunctionInstance** ppIFunctionInstance) = 0;
    virtual HRESULT STDMETHODCALLTYPE Delete(DWORD dwIndex) = 0;
    virtual HRESULT STDMETHODCALLTYPE DeleteAll() = 0;
};

struct IFunctionInstanceQuery : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE Execute(IFunctionInstance** ppIFunctionInstance) = 0;
};

struct IFunctionInstanceCollectionQuery : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE AddQueryConstraint(const WCHAR* pszConstraintName,
                                                         const WCHAR* pszConstraintValue) = 0;
    virtual HRESULT STDMETHODCALLTYPE AddPropertyConstraint(REFPROPERTYKEY Key, const PROPVARIANT* pv,
                                                            PropertyConstraint enumPropertyConstraint) = 0;
    virtual HRESULT STDMETHODCALLTYPE Execute(IFunctionInstanceCollection** ppIFunctionInstanceCollection) = 0;
};

struct IFunctionDiscoveryNotification : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE OnUpdate(QueryUpdateAction enumQueryUpdateAction,
                                               FDQUERYCONTEXT fdqcQueryContext,
                                               IFunctionInstance* pIFunctionInstance) = 0;
    virtual HRESULT STDMETHODCALLTYPE OnError(HRESULT hr, FDQUERYCONTEXT fdqcQueryContext,
                                              const WCHAR* pszProvider) = 0;
    virtual HRESULT STDMETHODCALLTYPE OnEvent(DWORD dwEventID, FDQUERYCONTEXT fdqcQueryContext,
                                              const WCHAR* pszProvider) = 0;
};

struct IFunctionDiscovery : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetInstanceCollection(const WCHAR* pszCategory, const WCHAR* pszSubCategory,
                                                            BOOL fIncludeAllSubCategories,
                                                            IFunctionInstanceCollection** ppIFunctionInstanceCollection) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetInstance(const WCHAR* pszFunctionInstanceIdentity,
                                                  IFunctionInstance** ppIFunctionInstance) = 0;
    virtual HRESULT STDMETHODCALLTYPE CreateInstanceCollectionQuery(
        const WCHAR* pszCategory, const WCHAR* pszSubCategory, BOOL fIncludeAllSubCategories,
        IFunctionDiscoveryNotification* pIFunctionDiscoveryNotification, FDQUERYCONTEXT* pfdqcQueryContext,
        IFunctionInstanceCollectionQuery** ppIFunctionInstanceCollectionQuery) = 0;
    virtual HRESULT STDMETHODCALLTYPE CreateInstanceQuery(const WCHAR* pszFunctionInstanceIdentity,
                                                          IFunctionDiscoveryNotification* pIFunctionDiscoveryNotification,
                                                          FDQUERYCONTEXT* pfdqcQueryContext,
                                                          IFunctionInstanceQuery** ppIFunctionInstanceQuery) = 0;
    virtual HRESULT STDMETHODCALLTYPE AddInstance(SystemVisibilityFlags enumSystemVisibility, const WCHAR* pszCategory,
                                                  const WCHAR* pszSubCategory, const WCHAR* pszCategoryIdentity,
                                                  IFunctionInstance** ppIFunctionInstance) = 0;
    virtual HRESULT STDMETHODCALLTYPE RemoveInstance(SystemVisibilityFlags enumSystemVisibility,
                                                     const WCHAR* pszCategory, const WCHAR* pszSubCategory,
                                                     const WCHAR* pszCategoryIdentity) = 0;
};

}  // namespace QVWinApi
