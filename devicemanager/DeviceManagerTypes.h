#pragma once

// Vocabulary of the device manager: connection and function types and the
// library's status family.
namespace QVDeviceManager {

// Bits, combined into a mask for enumeration.
enum CONNECTION_TYPE : unsigned long {
    CONNECTION_TYPE_USB = 1,
    CONNECTION_TYPE_NETWORK = 2,
    CONNECTION_TYPE_BLUETOOTH = 4,
};

enum FUNCTION_TYPE : int {
    FUNCTION_TYPE_CONFIG = 1,
    FUNCTION_TYPE_FAX = 2,
    FUNCTION_TYPE_SCAN = 3,
    FUNCTION_TYPE_PRINT = 4,
    FUNCTION_TYPE_STORAGE = 5,
    FUNCTION_TYPE_OTHER = 6,
    FUNCTION_TYPE_LASERFAX = 7,
};
// Slots of a device's functions: index = type, index 0 stays empty.
constexpr int kFunctionSlots = 8;

constexpr unsigned long DM_E_WRONG_USB_ID = 0x83E8FAEF;
constexpr unsigned long DM_E_NO_DEVICE_RESPONDED = 0x83E8FAF0;
constexpr unsigned long DM_E_NETWORK_UNAVAILABLE = 0x83E8FAF1;
constexpr unsigned long DM_E_NOT_INITIALISED = 0x83E8FAF2;
constexpr unsigned long DM_E_VALUE_NOT_FOUND = 0x83E8FAF3;
constexpr unsigned long DM_E_WRONG_VALUE_TYPE = 0x83E8FAF4;
constexpr unsigned long DM_E_REBOOT_REQUIRED = 0x83E8FAF5;
constexpr unsigned long DM_E_INVALID_ARGUMENT = 0x83E8FAF7;
constexpr unsigned long DM_E_NOT_SUPPORTED = 0x83E8FAF8;
constexpr unsigned long DM_E_NO_INTERFACE = 0x83E8FAF9;
constexpr unsigned long DM_E_ACCESS_DENIED = 0x83E8FAFA;
constexpr unsigned long DM_E_DEVICE_GONE = 0x83E8FAFB;
constexpr unsigned long DM_E_ALREADY_INSTALLED = 0x83E8FAFC;
constexpr unsigned long DM_E_NOT_FOUND = 0x83E8FAFD;
constexpr unsigned long DM_E_OUT_OF_MEMORY = 0x83E8FAFE;
constexpr unsigned long DM_E_FAILED = 0x83E8FAFF;
constexpr unsigned long DM_E_CANCELLED = 0x83E8FFFE;

}  // namespace QVDeviceManager
