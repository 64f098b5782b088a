#include <gtest/gtest.h>

#include <windows.h>

#include "doubles/TempFolder.h"
#include "utils/CIniFile.h"

using QVUtils::CIniFile;
using QVUtils::ci_wstring;

namespace {

class CIniFileTest : public ::testing::Test {
protected:
    CIniFileTest() : m_folder(L"orvane-ini"), m_ini(m_folder / L"record.ini") {}

    // Writes a value as the platform writes it, past the class under test.
    void Put(const wchar_t* section, const wchar_t* key, const std::wstring& value)
    {
        ASSERT_TRUE(::WritePrivateProfileStringW(section, key, value.c_str(),
                                                 m_ini.GetFileName().c_str()));
    }

    doubles::TempFolder m_folder;
    CIniFile m_ini;
};

}  // namespace

TEST_F(CIniFileTest, SetFileNameRefusesAnEmptyNameAndKeepsTheOld)
{
    const std::wstring name = m_folder / L"record.ini";
    EXPECT_FALSE(m_ini.SetFileName(L""));
    EXPECT_EQ(m_ini.GetFileName(), name);
    EXPECT_TRUE(m_ini.SetFileName(m_folder / L"other.ini"));
    EXPECT_EQ(m_ini.GetFileName(), m_folder / L"other.ini");
}

TEST_F(CIniFileTest, GetIntOfAbcIsFalseAndOfZeroIsTrueWithZero)
{
    Put(L"Device", L"Letters", L"abc");
    Put(L"Device", L"Zero", L"0");
    Put(L"Device", L"Port", L"9100");
    int value = -1;
    EXPECT_FALSE(m_ini.GetInt(L"Device", L"Letters", value));
    value = -1;
    EXPECT_TRUE(m_ini.GetInt(L"Device", L"Zero", value));
    EXPECT_EQ(value, 0);
    EXPECT_TRUE(m_ini.GetInt(L"Device", L"Port", value));
    EXPECT_EQ(value, 9100);
    EXPECT_FALSE(m_ini.GetInt(L"Device", L"Missing", value));
}

TEST_F(CIniFileTest, GetBoolOfTRUEIsTrueAndOfYesGivesFalseWithResultTrue)
{
    Put(L"Device", L"Upper", L"TRUE");
    Put(L"Device", L"Yes", L"yes");
    bool value = false;
    EXPECT_TRUE(m_ini.GetBool(L"Device", L"Upper", value));
    EXPECT_TRUE(value);
    value = true;
    EXPECT_TRUE(m_ini.GetBool(L"Device", L"Yes", value));
    EXPECT_FALSE(value);
    value = true;
    EXPECT_FALSE(m_ini.GetBool(L"Device", L"Missing", value));
    EXPECT_FALSE(value);
}

TEST_F(CIniFileTest, ValueOf600CharactersNeedsASecondPass)
{
    std::wstring value;
    for (int i = 0; i < 600; ++i) {
        value += static_cast<wchar_t>(L'a' + i % 26);
    }
    Put(L"Device", L"Long", value);
    std::wstring read;
    EXPECT_TRUE(m_ini.GetString(L"Device", L"Long", read));
    EXPECT_EQ(read.size(), 600u);
    EXPECT_EQ(read, value);
}

TEST_F(CIniFileTest, GetStringReadsValuesAroundEachBufferGrowth)
{
    for (size_t length : {510u, 511u, 512u, 513u, 1023u, 1024u, 1536u}) {
        const std::wstring value(length, L'x');
        Put(L"Device", L"Grown", value);
        std::wstring read;
        EXPECT_TRUE(m_ini.GetString(L"Device", L"Grown", read)) << length;
        EXPECT_EQ(read.size(), length);
        std::string narrow;
        EXPECT_TRUE(m_ini.GetString("Device", "Grown", narrow)) << length;
        EXPECT_EQ(narrow, std::string(length, 'x'));
    }
}

TEST_F(CIniFileTest, WideStringsRoundTripAndNamesIgnoreCase)
{
    EXPECT_TRUE(m_ini.SetString(L"Device", L"HostName", L"printer-7.example"));
    std::wstring read;
    EXPECT_TRUE(m_ini.GetString(L"DEVICE", L"hostname", read));
    EXPECT_EQ(read, L"printer-7.example");
}

TEST_F(CIniFileTest, MissingValueIsFalseAndEmpty)
{
    std::wstring read = L"stale";
    EXPECT_FALSE(m_ini.GetString(L"Device", L"Missing", read));
    EXPECT_EQ(read, L"");
}

TEST_F(CIniFileTest, EightBitFormsRoundTrip)
{
    EXPECT_TRUE(m_ini.SetString("Device", "Model", "ZQ 520"));
    std::string read;
    EXPECT_TRUE(m_ini.GetString("Device", "Model", read));
    EXPECT_EQ(read, "ZQ 520");
    std::wstring wide;
    EXPECT_TRUE(m_ini.GetString(L"Device", L"Model", wide));
    EXPECT_EQ(wide, L"ZQ 520");
}

TEST_F(CIniFileTest, CaseInsensitiveFormsRoundTripAndCompareWithoutCase)
{
    EXPECT_TRUE(m_ini.SetString(L"Device", L"Mac", ci_wstring(L"00:1A:2b:3C:4d:5E")));
    ci_wstring read;
    EXPECT_TRUE(m_ini.GetString(L"Device", L"Mac", read));
    EXPECT_EQ(std::wstring(read.c_str()), L"00:1A:2b:3C:4d:5E");
    EXPECT_TRUE(read == ci_wstring(L"00:1a:2B:3c:4D:5e"));
    EXPECT_EQ(read.find(L'B'), 7u);
}

TEST_F(CIniFileTest, SetIntAndSetBoolWriteTheirTexts)
{
    EXPECT_TRUE(m_ini.SetInt(L"Device", L"Offset", -7));
    EXPECT_TRUE(m_ini.SetBool(L"Device", L"OffSubnet", false));
    EXPECT_TRUE(m_ini.SetBool(L"Device", L"Secure", true));
    std::wstring read;
    m_ini.GetString(L"Device", L"Offset", read);
    EXPECT_EQ(read, L"-7");
    m_ini.GetString(L"Device", L"OffSubnet", read);
    EXPECT_EQ(read, L"false");
    m_ini.GetString(L"Device", L"Secure", read);
    EXPECT_EQ(read, L"true");
}

TEST_F(CIniFileTest, DeleteKeyRemovesTheValue)
{
    Put(L"Device", L"Gone", L"soon");
    Put(L"Device", L"Kept", L"here");
    EXPECT_TRUE(m_ini.DeleteKey(L"Device", L"Gone"));
    std::wstring read;
    EXPECT_FALSE(m_ini.GetString(L"Device", L"Gone", read));
    EXPECT_TRUE(m_ini.GetString(L"Device", L"Kept", read));
    EXPECT_EQ(read, L"here");
}
