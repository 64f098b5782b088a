#pragma once

#include "winapi/ISetupApi.h"

namespace QVWinApi {

// Forwards each operation unchanged to the platform function of its name.
class CSetupApi : public ISetupApi {
public:
    constexpr CSetupApi() = default;

    CONFIGRET CM_Locate_DevNodeW(PDEVINST pdnDevInst, DEVINSTID_W pDeviceID,
            ULONG ulFlags) override;
    CONFIGRET CM_Get_DevNode_Status(PULONG pulStatus, PULONG pulProblemNumber, DEVINST dnDevInst,
            ULONG ulFlags) override;
    CONFIGRET CM_Get_Device_IDW(DEVINST dnDevInst, PWCHAR Buffer, ULONG BufferLen,
            ULONG ulFlags) override;
    CONFIGRET CM_Get_DevNode_Registry_PropertyW(DEVINST dnDevInst, ULONG ulProperty,
            PULONG pulRegDataType, PVOID Buffer, PULONG pulLength, ULONG ulFlags) override;
    CONFIGRET CM_Set_DevNode_Registry_PropertyW(DEVINST dnDevInst, ULONG ulProperty, PCVOID Buffer,
            ULONG ulLength, ULONG ulFlags) override;
    CONFIGRET CM_Disable_DevNode(DEVINST dnDevInst, ULONG ulFlags) override;
    HDEVINFO SetupDiGetClassDevsW(const GUID* ClassGuid, PCWSTR Enumerator, HWND hwndParent,
            DWORD Flags) override;
    HDEVINFO SetupDiCreateDeviceInfoList(const GUID* ClassGuid, HWND hwndParent) override;
    BOOL SetupDiDestroyDeviceInfoList(HDEVINFO DeviceInfoSet) override;
    BOOL SetupDiEnumDeviceInfo(HDEVINFO DeviceInfoSet, DWORD MemberIndex,
            PSP_DEVINFO_DATA DeviceInfoData) override;
    BOOL SetupDiOpenDeviceInfoW(HDEVINFO DeviceInfoSet, PCWSTR DeviceInstanceId, HWND hwndParent,
            DWORD OpenFlags, PSP_DEVINFO_DATA DeviceInfoData) override;
    BOOL SetupDiCreateDeviceInfoW(HDEVINFO DeviceInfoSet, PCWSTR DeviceName, const GUID* ClassGuid,
            PCWSTR DeviceDescription, HWND hwndParent, DWORD CreationFlags,
            PSP_DEVINFO_DATA DeviceInfoData) override;
    BOOL SetupDiEnumDeviceInterfaces(HDEVINFO DeviceInfoSet, PSP_DEVINFO_DATA DeviceInfoData,
            const GUID* InterfaceClassGuid, DWORD MemberIndex,
            PSP_DEVICE_INTERFACE_DATA DeviceInterfaceData) override;
    BOOL SetupDiGetDeviceInterfaceDetailW(HDEVINFO DeviceInfoSet,
            PSP_DEVICE_INTERFACE_DATA DeviceInterfaceData,
            PSP_DEVICE_INTERFACE_DETAIL_DATA_W DeviceInterfaceDetailData,
            DWORD DeviceInterfaceDetailDataSize, PDWORD RequiredSize,
            PSP_DEVINFO_DATA DeviceInfoData) override;
    BOOL SetupDiGetDeviceInstallParamsW(HDEVINFO DeviceInfoSet, PSP_DEVINFO_DATA DeviceInfoData,
            PSP_DEVINSTALL_PARAMS_W DeviceInstallParams) override;
    BOOL SetupDiSetDeviceInstallParamsW(HDEVINFO DeviceInfoSet, PSP_DEVINFO_DATA DeviceInfoData,
            PSP_DEVINSTALL_PARAMS_W DeviceInstallParams) override;
    BOOL SetupDiCallClassInstaller(DI_FUNCTION InstallFunction, HDEVINFO DeviceInfoSet,
            PSP_DEVINFO_DATA DeviceInfoData) override;
    HKEY SetupDiOpenClassRegKey(const GUID* ClassGuid, REGSAM samDesired) override;
    HKEY SetupDiCreateDevRegKeyW(HDEVINFO DeviceInfoSet, PSP_DEVINFO_DATA DeviceInfoData,
            DWORD Scope, DWORD HwProfile, DWORD KeyType, HINF InfHandle,
            PCWSTR InfSectionName) override;
    HKEY SetupDiOpenDevRegKey(HDEVINFO DeviceInfoSet, PSP_DEVINFO_DATA DeviceInfoData, DWORD Scope,
            DWORD HwProfile, DWORD KeyType, REGSAM samDesired) override;
    BOOL SetupDiBuildDriverInfoList(HDEVINFO DeviceInfoSet, PSP_DEVINFO_DATA DeviceInfoData,
            DWORD DriverType) override;
    BOOL SetupDiDestroyDriverInfoList(HDEVINFO DeviceInfoSet, PSP_DEVINFO_DATA DeviceInfoData,
            DWORD DriverType) override;
    BOOL SetupDiRemoveDevice(HDEVINFO DeviceInfoSet, PSP_DEVINFO_DATA DeviceInfoData) override;
    BOOL SetupDiGetSelectedDriverW(HDEVINFO DeviceInfoSet, PSP_DEVINFO_DATA DeviceInfoData,
            PSP_DRVINFO_DATA_W DriverInfoData) override;
    BOOL SetupDiGetDriverInfoDetailW(HDEVINFO DeviceInfoSet, PSP_DEVINFO_DATA DeviceInfoData,
            PSP_DRVINFO_DATA_W DriverInfoData, PSP_DRVINFO_DETAIL_DATA_W DriverInfoDetailData,
            DWORD DriverInfoDetailDataSize, PDWORD RequiredSize) override;
    HINF SetupOpenInfFileW(PCWSTR FileName, PCWSTR InfClass, DWORD InfStyle,
            PUINT ErrorLine) override;
    BOOL SetupFindFirstLineW(HINF InfHandle, PCWSTR Section, PCWSTR Key,
            PINFCONTEXT Context) override;
    BOOL SetupGetLineTextW(PINFCONTEXT Context, HINF InfHandle, PCWSTR Section, PCWSTR Key,
            PWSTR ReturnBuffer, DWORD ReturnBufferSize, PDWORD RequiredSize) override;
    void SetupCloseInfFile(HINF InfHandle) override;
    DWORD CMP_WaitNoPendingInstallEvents(DWORD dwTimeout) override;
    BOOL SetupDiSetClassInstallParamsW(HDEVINFO DeviceInfoSet, PSP_DEVINFO_DATA DeviceInfoData,
            PSP_CLASSINSTALL_HEADER ClassInstallParams, DWORD ClassInstallParamsSize) override;
};

}  // namespace QVWinApi
