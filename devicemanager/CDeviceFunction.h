#pragma once

#include <string>

#include "devicemanager/IDeviceFunction.h"

namespace QVDeviceManager {

// The one implementation of a device function: its type and three texts.
class CDeviceFunction : public IDeviceFunction {
public:
    explicit CDeviceFunction(FUNCTION_TYPE type) : m_type(type) {}

    FUNCTION_TYPE GetFunctionType() override { return m_type; }
    const std::wstring& GetFriendlyName() override { return m_friendlyName; }
    const std::wstring& GetDriverName() override { return m_driverName; }
    const std::wstring& GetAddress() override { return m_address; }
    void Init(const wchar_t* friendlyName, const wchar_t* driverName, const wchar_t* address) override;
    void Clear() override;

private:
    FUNCTION_TYPE m_type;
    std::wstring m_friendlyName;
    std::wstring m_driverName;
    std::wstring m_address;
};

}  // namespace QVDeviceManager
