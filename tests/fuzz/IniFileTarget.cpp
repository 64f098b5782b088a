// Ini files as a user or an installer leaves them, read through CIniFile
// (and so through the platform's profile functions): raw files of any bytes
// must read consistently in every form, and a section, key and value that
// the target writes itself must come back exactly, also past the reader's
// 512-character steps.
#include <windows.h>

#include <cstring>
#include <cwchar>
#include <memory>
#include <string>

#include "fuzz/FuzzInput.h"
#include "fuzz/FuzzTarget.h"
#include "fuzz/TurnFiles.h"
#include "utils/CIniFile.h"

namespace {

using fuzz::Check;
using fuzz::FuzzInput;
using QVUtils::CIniFile;

std::unique_ptr<fuzz::TurnFiles> g_files;

std::wstring Wide(const std::string& text)
{
    return std::wstring(text.begin(), text.end());
}

// The readings of one key must agree with each other; the text read is
// handed back.
std::wstring CheckReadings(const CIniFile& ini, const std::wstring& section, const std::wstring& key)
{
    std::wstring text;
    const bool found = ini.GetString(section.c_str(), key.c_str(), text);
    Check(found == !text.empty(), "GetString's result does not tell whether a value came");
    Check(text.find(L'\0') == std::wstring::npos, "a value holds a zero character");
    int number = -1;
    const bool isNumber = ini.GetInt(section.c_str(), key.c_str(), number);
    Check(number == _wtoi(text.c_str()) && isNumber == (number != 0 || text == L"0"), "GetInt disagrees with GetString");
    bool flag = false;
    Check(ini.GetBool(section.c_str(), key.c_str(), flag) == found && flag == fuzz::ReadsAsTrue(text),
          "GetBool disagrees with GetString");
    return text;
}

uint32_t RunRaw(FuzzInput& in)
{
    const std::string bytes = in.Rest();
    CIniFile ini(g_files->Write(bytes));
    // The names the file itself uses, and the ones the library asks for.
    std::wstring section = L"DeviceInfo";
    std::wstring key = L"USBID";
    const size_t open = bytes.find('[');
    const size_t close = bytes.find(']', open);
    if (open != std::string::npos && close != std::string::npos) {
        section = Wide(bytes.substr(open + 1, close - open - 1));
        const size_t line = bytes.find('\n', close);
        const size_t equals = line == std::string::npos ? line : bytes.find('=', line);
        if (equals != std::string::npos) {
            key = Wide(bytes.substr(line + 1, equals - line - 1));
        }
    }
    section = section.substr(0, section.find(L'\0'));
    key = key.substr(0, key.find(L'\0'));
    CheckReadings(ini, section, key);
    // The value the library reads, in both forms.
    std::wstring wide;
    std::string narrow;
    const bool found = ini.GetString(L"DeviceInfo", L"USBID", wide);
    Check(ini.GetString("DeviceInfo", "USBID", narrow) == found && narrow.size() <= wide.size() * 2,
          "the 8-bit reading disagrees with the wide one");
    return 1;
}

// Printable text without the characters that mean something in a line
// (`excluded`), and without blanks at either end.
std::string Plain(FuzzInput& in, size_t length, const char* excluded)
{
    std::string text;
    for (size_t i = 0; i < length; ++i) {
        char c = static_cast<char>(0x21 + in.Byte() % 0x5E);
        if (std::strchr(excluded, c) != nullptr) {
            c = 'x';
        }
        // Blanks inside only.
        text += i != 0 && i + 1 != length && in.Byte() % 8 == 0 ? ' ' : c;
    }
    return text;
}

uint32_t RunRoundTrip(FuzzInput& in)
{
    const std::string section = "S" + Plain(in, in.Byte() % 40, "[]");
    const std::string key = "K" + Plain(in, in.Byte() % 40, "=[;");
    const size_t valueLength = (in.Byte() << 8 | in.Byte()) % 3000;
    const std::string value = "v" + Plain(in, valueLength, "\"'");
    const std::string before = "[Other]\r\nName=1\r\n";
    const std::string file = before + "[" + section + "]\r\n" + key + "=" + value + "\r\nLast=end\r\n";
    CIniFile ini(g_files->Write(file));
    Check(CheckReadings(ini, Wide(section), Wide(key)) == Wide(value),
          "a value did not come back as written (" + std::to_string(value.size()) + " characters)");
    return 2 + (value.size() >= 511 ? 1 : 0);
}

uint32_t RunIni(const unsigned char* data, size_t size)
{
    FuzzInput in(data, size);
    return in.Byte() & 1 ? RunRoundTrip(in) : RunRaw(in);
}

const fuzz::TargetRegistration kRegistration{{
    "ini_file",
    {fuzz::CorpusFolder("ini_file")},
    {"[DeviceInfo]", "USBID=", "\r\n", "\n", "=", "[", "]", ";", "\"", "true", "TRUE", "0", "\xff\xfe", "\xef\xbb\xbf"},
    8192,
    30000,
    0,
    [] { g_files = std::make_unique<fuzz::TurnFiles>(L"orvane-fuzz-ini", L"fuzz-"); },
    [] { g_files.reset(); },
    RunIni,
}};

}  // namespace
