// Registry values read with the library's statuses, from the prefix's registry.
#include <gtest/gtest.h>

#include <windows.h>

#include <string>

#include "devicemanager/CRegUtil.h"
#include "devicemanager/DeviceManagerTypes.h"

using namespace QVDeviceManager;

namespace {

class RegUtil : public testing::Test {
protected:
    void SetUp() override
    {
        RegDeleteTreeW(HKEY_CURRENT_USER, m_path.c_str());
        ASSERT_EQ(ERROR_SUCCESS, RegCreateKeyExW(HKEY_CURRENT_USER, m_path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS,
                                                 nullptr, &m_key, nullptr));
    }
    void TearDown() override
    {
        RegCloseKey(m_key);
        RegDeleteTreeW(HKEY_CURRENT_USER, m_path.c_str());
    }
    void Set(const wchar_t* name, DWORD type, const void* data, DWORD size)
    {
        ASSERT_EQ(ERROR_SUCCESS, RegSetValueExW(m_key, name, 0, type, static_cast<const BYTE*>(data), size));
    }

    std::wstring m_path = L"Software\\ZQ\\QV\\Tests\\RegUtil-" + std::to_wstring(GetCurrentProcessId());
    HKEY m_key = nullptr;
};

TEST_F(RegUtil, StringAndNumberAreReadWithoutTheFinalZero)
{
    Set(L"Text", REG_SZ, L"USB001", 14);
    const DWORD number = 0x1234;
    Set(L"Number", REG_DWORD, &number, 4);
    std::wstring text = L"old";
    EXPECT_EQ(0u, CRegUtil::GetValue(HKEY_CURRENT_USER, m_path.c_str(), L"Text", text));
    EXPECT_EQ(L"USB001", text);
    DWORD read = 0;
    EXPECT_EQ(0u, CRegUtil::GetValue(m_key, nullptr, L"Number", read));
    EXPECT_EQ(0x1234u, read);
}

TEST_F(RegUtil, EmptyStringClearsTheText)
{
    Set(L"Empty", REG_SZ, L"", 0);
    std::wstring text = L"old";
    EXPECT_EQ(0u, CRegUtil::GetValue(m_key, nullptr, L"Empty", text));
    EXPECT_EQ(L"", text);
}

TEST_F(RegUtil, ValueOfType2AskedForAsAStringGivesWrongValueType)
{
    Set(L"Expand", REG_EXPAND_SZ, L"%TEMP%", 14);
    std::wstring text = L"old";
    EXPECT_EQ(DM_E_WRONG_VALUE_TYPE, CRegUtil::GetValue(m_key, nullptr, L"Expand", text));
    EXPECT_EQ(L"old", text);
}

TEST_F(RegUtil, ValuesOfTheWrongTypeOrSizeForANumberGiveWrongValueTypeOrFailed)
{
    Set(L"Text", REG_SZ, L"1", 4);
    const BYTE two[2] = {1, 0};
    Set(L"Short", REG_DWORD, two, 2);
    const BYTE eight[8] = {1, 0, 0, 0, 0, 0, 0, 0};
    Set(L"Long", REG_DWORD, eight, 8);
    DWORD read = 77;
    EXPECT_EQ(DM_E_WRONG_VALUE_TYPE, CRegUtil::GetValue(m_key, nullptr, L"Text", read));
    EXPECT_EQ(DM_E_WRONG_VALUE_TYPE, CRegUtil::GetValue(m_key, nullptr, L"Short", read));
    EXPECT_EQ(DM_E_FAILED, CRegUtil::GetValue(m_key, nullptr, L"Long", read)) << "more data than a number";
    EXPECT_EQ(77u, read);
}

TEST_F(RegUtil, MissingValueOrKeyGivesValueNotFoundAndNoKeyInvalidArgument)
{
    std::wstring text;
    EXPECT_EQ(DM_E_VALUE_NOT_FOUND, CRegUtil::GetValue(m_key, nullptr, L"Nothing", text));
    EXPECT_EQ(DM_E_VALUE_NOT_FOUND, CRegUtil::GetValue(HKEY_CURRENT_USER, (m_path + L"\\Nothing").c_str(), L"x", text));
    EXPECT_EQ(DM_E_INVALID_ARGUMENT, CRegUtil::GetValue(nullptr, nullptr, L"x", text));
}

}  // namespace
