#include "winapi/CSetupApi.h"

namespace QVWinApi {

CONFIGRET CSetupApi::CM_Locate_DevNodeW(PDEVINST pdnDevInst, DEVINSTID_W pDeviceID, ULONG ulFlags)
{
    return ::CM_Locate_DevNodeW(pdnDevInst, pDeviceID, ulFlags);
}

CONFIGRET CSetupApi::CM_Get_DevNode_Status(PULONG pulStatus, PULONG pulProblemNumber,
        DEVINST dnDevInst, ULONG ulFlags)
{
    return ::CM_Get_DevNode_Status(pulStatus, pulProblemNumber, dnDevInst, ulFlags);
}

CONFIGRET CSetupApi::CM_Get_Device_IDW(DEVINST dnDevInst, PWCHAR Buffer, ULONG BufferLen,
        ULONG ulFlags)
{
    return ::CM_Get_Device_IDW(dnDevInst, Buffer, BufferLen, ulFlags);
}

CONFIGRET CSetupApi::CM_Get_DevNode_Registry_PropertyW(DEVINST dnDevInst, ULONG ulProperty,
        PULONG pulRegDataType, PVOID Buffer, PULONG pulLength, ULONG ulFlags)
{
    return ::CM_Get_DevNode_Registry_PropertyW(dnDevInst, ulProperty, pulRegDataType, Buffer, pulLength, ulFlags);
}

CONFIGRET CSetupApi::CM_Set_DevNode_Registry_PropertyW(DEVINST dnDevInst, ULONG ulProperty,
        PCVOID Buffer, ULONG ulLength, ULONG ulFlags)
{
    return ::CM_Set_DevNode_Registry_PropertyW(dnDevInst, ulProperty, Buffer, ulLength, ulFlags);
}

CONFIGRET CSetupApi::CM_Disable_DevNode(DEVINST dnDevInst, ULONG ulFlags)
{
    return ::CM_Disable_DevNode(dnDevInst, ulFlags);
}

HDEVINFO CSetupApi::SetupDiGetClassDevsW(const GUID* ClassGuid, PCWSTR Enumerator, HWND hwndParent,
        DWORD Flags)
{
    return ::SetupDiGetClassDevsW(ClassGuid, Enumerator, hwndParent, Flags);
}

HDEVINFO CSetupApi::SetupDiCreateDeviceInfoList(const GUID* ClassGuid, HWND hwndParent)
{
    return ::SetupDiCreateDeviceInfoList(ClassGuid, hwndParent);
}

BOOL CSetupApi::SetupDiDestroyDeviceInfoList(HDEVINFO DeviceInfoSet)
{
    return ::SetupDiDestroyDeviceInfoList(DeviceInfoSet);
}

BOOL CSetupApi::SetupDiEnumDeviceInfo(HDEVINFO DeviceInfoSet, DWORD MemberIndex,
        PSP_DEVINFO_DATA DeviceInfoData)
{
    return ::SetupDiEnumDeviceInfo(DeviceInfoSet, MemberIndex, DeviceInfoData);
}

BOOL CSetupApi::SetupDiOpenDeviceInfoW(HDEVINFO DeviceInfoSet, PCWSTR DeviceInstanceId,
        HWND hwndParent, DWORD OpenFlags, PSP_DEVINFO_DATA DeviceInfoData)
{
    return ::SetupDiOpenDeviceInfoW(DeviceInfoSet, DeviceInstanceId, hwndParent, OpenFlags, DeviceInfoData);
}

BOOL CSetupApi::SetupDiCreateDeviceInfoW(HDEVINFO DeviceInfoSet, PCWSTR DeviceName,
        const GUID* ClassGuid, PCWSTR DeviceDescription, HWND hwndParent, DWORD CreationFlags,
        PSP_DEVINFO_DATA DeviceInfoData)
{
    return ::SetupDiCreateDeviceInfoW(DeviceInfoSet, DeviceName, ClassGuid, DeviceDescription, hwndParent, CreationFlags, DeviceInfoData);
}

BOOL CSetupApi::SetupDiEnumDeviceInterfaces(HDEVINFO DeviceInfoSet, PSP_DEVINFO_DATA DeviceInfoData,
        const GUID* InterfaceClassGuid, DWORD MemberIndex,
        PSP_DEVICE_INTERFACE_DATA DeviceInterfaceData)
{
    return ::SetupDiEnumDeviceInterfaces(DeviceInfoSet, DeviceInfoData, InterfaceClassGuid, MemberIndex, DeviceInterfaceData);
}

BOOL CSetupApi::SetupDiGetDeviceInterfaceDetailW(HDEVINFO DeviceInfoSet,
        PSP_DEVICE_INTERFACE_DATA DeviceInterfaceData,
        PSP_DEVICE_INTERFACE_DETAIL_DATA_W DeviceInterfaceDetailData,
        DWORD DeviceInterfaceDetailDataSize, PDWORD RequiredSize, PSP_DEVINFO_DATA DeviceInfoData)
{
    return ::SetupDiGetDeviceInterfaceDetailW(DeviceInfoSet, DeviceInterfaceData, DeviceInterfaceDetailData, DeviceInterfaceDetailDataSize, RequiredSize, DeviceInfoData);
}

BOOL CSetupApi::SetupDiGetDeviceInstallParamsW(HDEVINFO DeviceInfoSet,
        PSP_DEVINFO_DATA DeviceInfoData, PSP_DEVINSTALL_PARAMS_W DeviceInstallParams)
{
    return ::SetupDiGetDeviceInstallParamsW(DeviceInfoSet, DeviceInfoData, DeviceInstallParams);
}

BOOL CSetupApi::SetupDiSetDeviceInstallParamsW(HDEVINFO DeviceInfoSet,
        PSP_DEVINFO_DATA DeviceInfoData, PSP_DEVINSTALL_PARAMS_W DeviceInstallParams)
{
    return ::SetupDiSetDeviceInstallParamsW(DeviceInfoSet, DeviceInfoData, DeviceInstallParams);
}

BOOL CSetupApi::SetupDiCallClassInstaller(DI_FUNCTION InstallFunction, HDEVINFO DeviceInfoSet,
        PSP_DEVINFO_DATA DeviceInfoData)
{
    return ::SetupDiCallClassInstaller(InstallFunction, DeviceInfoSet, DeviceInfoData);
}

HKEY CSetupApi::SetupDiOpenClassRegKey(const GUID* ClassGuid, REGSAM samDesired)
{
    return ::SetupDiOpenClassRegKey(ClassGuid, samDesired);
}

HKEY CSetupApi::SetupDiCreateDevRegKeyW(HDEVINFO DeviceInfoSet, PSP_DEVINFO_DATA DeviceInfoData,
        DWORD Scope, DWORD HwProfile, DWORD KeyType, HINF InfHandle, PCWSTR InfSectionName)
{
    return ::SetupDiCreateDevRegKeyW(DeviceInfoSet, DeviceInfoData, Scope, HwProfile, KeyType, InfHandle, InfSectionName);
}

HKEY CSetupApi::SetupDiOpenDevRegKey(HDEVINFO DeviceInfoSet, PSP_DEVINFO_DATA DeviceInfoData,
        DWORD Scope, DWORD HwProfile, DWORD KeyType, REGSAM samDesired)
{
    return ::SetupDiOpenDevRegKey(DeviceInfoSet, DeviceInfoData, Scope, HwProfile, KeyType, samDesired);
}

BOOL CSetupApi::SetupDiBuildDriverInfoList(HDEVINFO DeviceInfoSet, PSP_DEVINFO_DATA DeviceInfoData,
        DWORD DriverType)
{
    return ::SetupDiBuildDriverInfoList(DeviceInfoSet, DeviceInfoData, DriverType);
}

BOOL CSetupApi::SetupDiDestroyDriverInfoList(HDEVINFO DeviceInfoSet,
        PSP_DEVINFO_DATA DeviceInfoData, DWORD DriverType)
{
    return ::SetupDiDestroyDriverInfoList(DeviceInfoSet, DeviceInfoData, DriverType);
}

BOOL CSetupApi::SetupDiRemoveDevice(HDEVINFO DeviceInfoSet, PSP_DEVINFO_DATA DeviceInfoData)
{
    return ::SetupDiRemoveDevice(DeviceInfoSet, DeviceInfoData);
}

BOOL CSetupApi::SetupDiGetSelectedDriverW(HDEVINFO DeviceInfoSet, PSP_DEVINFO_DATA DeviceInfoData,
        PSP_DRVINFO_DATA_W DriverInfoData)
{
    return ::SetupDiGetSelectedDriverW(DeviceInfoSet, DeviceInfoData, DriverInfoData);
}

BOOL CSetupApi::SetupDiGetDriverInfoDetailW(HDEVINFO DeviceInfoSet, PSP_DEVINFO_DATA DeviceInfoData,
        PSP_DRVINFO_DATA_W DriverInfoData, PSP_DRVINFO_DETAIL_DATA_W DriverInfoDetailData,
        DWORD DriverInfoDetailDataSize, PDWORD RequiredSize)
{
    return ::SetupDiGetDriverInfoDetailW(DeviceInfoSet, DeviceInfoData, DriverInfoData, DriverInfoDetailData, DriverInfoDetailDataSize, RequiredSize);
}

HINF CSetupApi::SetupOpenInfFileW(PCWSTR FileName, PCWSTR InfClass, DWORD InfStyle, PUINT ErrorLine)
{
    return ::SetupOpenInfFileW(FileName, InfClass, InfStyle, ErrorLine);
}

BOOL CSetupApi::SetupFindFirstLineW(HINF InfHandle, PCWSTR Section, PCWSTR Key, PINFCONTEXT Context)
{
    return ::SetupFindFirstLineW(InfHandle, Section, Key, Context);
}

BOOL CSetupApi::SetupGetLineTextW(PINFCONTEXT Context, HINF InfHandle, PCWSTR Section, PCWSTR Key,
        PWSTR ReturnBuffer, DWORD ReturnBufferSize, PDWORD RequiredSize)
{
    return ::SetupGetLineTextW(Context, InfHandle, Section, Key, ReturnBuffer, ReturnBufferSize, RequiredSize);
}

void CSetupApi::SetupCloseInfFile(HINF InfHandle)
{
    ::SetupCloseInfFile(InfHandle);
}

DWORD CSetupApi::CMP_WaitNoPendingInstallEvents(DWORD dwTimeout)
{
    return ::CMP_WaitNoPendingInstallEvents(dwTimeout);
}

BOOL CSetupApi::SetupDiSetClassInstallParamsW(HDEVINFO DeviceInfoSet,
        PSP_DEVINFO_DATA DeviceInfoData, PSP_CLASSINSTALL_HEADER ClassInstallParams,
        DWORD ClassInstallParamsSize)
{
    return ::SetupDiSetClassInstallParamsW(DeviceInfoSet, DeviceInfoData, ClassInstallParams, ClassInstallParamsSize);
}

}  // namespace QVWinApi

namespace {

QVWinApi::CSetupApi s_setupApi;

}  // namespace

QVWinApi::ISetupApi* g_pSetupApi = &s_setupApi;
