// orvane mib: reads, walks and sets a device's management objects.
#include <windows.h>

#include <climits>
#include <cstdio>
#include <cwchar>
#include <string>

#include "common/ArgumentParser.h"
#include "common/JsonObject.h"
#include "common/Text.h"
#include "orvane/CommandRegistry.h"
#include "orvane/NamedDevice.h"

namespace tools {

namespace {

// The most objects a walk prints, so that a device whose tree loops ends.
const unsigned long kMaxWalk = 100000;
const unsigned long kOidChars = 1024;

class MibCommand : public Command {
public:
    const wchar_t* Name() const override { return L"mib"; }
    const char* Summary() const override { return "read, walk or set a device's management objects"; }
    const char* Usage() const override
    {
        return "usage: orvane mib get [--json] TARGET OID\n"
               "       orvane mib walk [--json] TARGET [OID]\n"
               "       orvane mib set [--integer] [--json] TARGET OID VALUE\n"
               "\n"
               "Reads, walks or sets management objects of a device through an orvane64\n"
               "management connection, which needs the device family's run-time library\n"
               "zqdrtl12.dll. TARGET is the device's address as the run-time takes it; or\n"
               "give --queue NAME or --port NAME instead of TARGET to name the device by\n"
               "print queue or print port. OID is a dotted identifier such as\n"
               "1.3.6.1.2.1.1.1.0. Each object is printed on a line of its own:\n"
               "  1.3.6.1.2.1.1.1.0 = STRING: \"Orvane virtual printer\"\n"
               "  1.3.6.1.2.1.25.3.5.1.1.1 = INTEGER: 3\n"
               "\n"
               "get   the object OID\n"
               "walk  every object below OID (default 1.3.6.1.2.1), in order\n"
               "set   OID to VALUE, a text, or a number with --integer; prints the object\n"
               "      as read back\n"
               "\n"
               "options:\n"
               "  --queue NAME  the device behind this print queue\n"
               "  --port NAME   the device behind this print port\n"
               "  --integer     set VALUE as a number\n"
               "  --json        one JSON object per object: oid, type, value\n"
               "  --help        this text\n"
               "\n"
               "exit codes: 0 done, 1 no device or no such object, or the set was\n"
               "refused, 2 usage error\n";
    }

    int Run(const std::vector<std::wstring>& arguments) override
    {
        ArgumentParser parser({L"--queue", L"--port"}, {L"--integer", L"--json", L"--help"});
        if (!parser.Parse(arguments)) {
            return UsageError(parser.Error());
        }
        if (parser.Has(L"--help")) {
            return ShowUsage();
        }
        std::vector<std::wstring> rest = parser.Positional();
        if (rest.empty()) {
            return UsageError("expected get, walk or set");
        }
        const std::wstring verb = rest.front();
        rest.erase(rest.begin());
        if (parser.Has(L"--queue") && parser.Has(L"--port")) {
            return UsageError("give --queue or --port, not both");
        }
        std::wstring target;
        if (!NamedDevice::ByName(parser)) {
            if (rest.empty()) {
                return UsageError("expected TARGET");
            }
            target = rest.front();
            rest.erase(rest.begin());
        }
        m_json = parser.Has(L"--json");
        if (verb == L"get" && rest.size() == 1) {
            return Start(target, parser) ? Get(rest[0]) : kExitFailure;
        }
        if (verb == L"walk" && rest.size() <= 1) {
            return Start(target, parser) ? Walk(rest.empty() ? L"1.3.6.1.2.1" : rest[0]) : kExitFailure;
        }
        if (verb == L"set" && rest.size() == 2) {
            VARIANT value;
            ::VariantInit(&value);
            if (parser.Has(L"--integer")) {
                long number = 0;
                if (!ParseInteger(rest[1], &number)) {
                    return UsageError("VALUE is no number: '" + Text::Narrow(rest[1]) + "'");
                }
                value.vt = VT_I4;
                value.lVal = number;
            } else {
                value.vt = VT_BSTR;
                value.bstrVal = ::SysAllocStringLen(rest[1].data(), static_cast<UINT>(rest[1].size()));
            }
            const int result = Start(target, parser) ? Set(rest[0], value) : kExitFailure;
            ::VariantClear(&value);
            return result;
        }
        if (verb != L"get" && verb != L"walk" && verb != L"set") {
            return UsageError("unknown verb '" + Text::Narrow(verb) + "': expected get, walk or set");
        }
        return UsageError("wrong number of arguments for " + Text::Narrow(verb));
    }

    ~MibCommand() override
    {
        if (m_mib != nullptr) {
            m_mib->Dispose();
        }
    }

private:
    static bool ParseInteger(const std::wstring& text, long* out)
    {
        if (text.empty()) {
            return false;
        }
        wchar_t* end = nullptr;
        const long long number = std::wcstoll(text.c_str(), &end, 10);
        if (*end != L'\0' || number < LONG_MIN || number > LONG_MAX) {
            return false;
        }
        *out = static_cast<long>(number);
        return true;
    }

    bool Start(const std::wstring& target, const ArgumentParser& parser)
    {
        if (!m_device.Open(parser, target)) {
            Complain(m_device.Error());
            return false;
        }
        if (m_device->CreateMIBConnection(&m_mib) != 0 || m_mib == nullptr) {
            Complain("the library made no management connection for " + m_device.Text());
            return false;
        }
        return true;
    }

    int Get(const std::wstring& oid)
    {
        VARIANT value;
        ::VariantInit(&value);
        if (m_mib->GetValue(oid.c_str(), &value) != 0) {
            Complain("no object " + Text::Narrow(oid) + " at " + m_device.Text());
            return kExitFailure;
        }
        Print(oid, value);
        ::VariantClear(&value);
        return kExitOk;
    }

    int Walk(const std::wstring& root)
    {
        std::wstring oid = root;
        for (unsigned long count = 0; count < kMaxWalk; ++count) {
            wchar_t next[kOidChars] = {};
            VARIANT value;
            ::VariantInit(&value);
            // The end of the device's tree, or an object outside the root,
            // ends the walk.
            if (m_mib->GetNextValue(oid.c_str(), next, kOidChars, &value) != 0 || !Below(root, next)) {
                ::VariantClear(&value);
                if (count == 0) {
                    Complain("no object below " + Text::Narrow(root) + " at " + m_device.Text());
                    return kExitFailure;
                }
                return kExitOk;
            }
            Print(next, value);
            ::VariantClear(&value);
            oid = next;
        }
        return kExitOk;
    }

    int Set(const std::wstring& oid, const VARIANT& value)
    {
        if (m_mib->SetValue(oid.c_str(), &value) != 0) {
            Complain("the device refused to set " + Text::Narrow(oid) + " at " + m_device.Text());
            return kExitFailure;
        }
        return Get(oid);
    }

    static bool Below(const std::wstring& root, const std::wstring& oid)
    {
        return oid.compare(0, root.size(), root) == 0 && (oid.size() == root.size() || oid[root.size()] == L'.');
    }

    void Print(const std::wstring& oid, const VARIANT& value) const
    {
        const bool text = value.vt == VT_BSTR;
        const std::wstring content = text ? std::wstring(value.bstrVal, ::SysStringLen(value.bstrVal)) : L"";
        if (m_json) {
            JsonObject json;
            json.Text("oid", oid).Text("type", std::wstring(text ? L"STRING" : L"INTEGER"));
            if (text) {
                json.Text("value", content);
            } else {
                json.Integer("value", value.lVal);
            }
            std::printf("%s\n", json.Str().c_str());
        } else if (text) {
            std::printf("%s = STRING: %s\n", Text::Narrow(oid).c_str(),
                        JsonObject::Quote(content).c_str());
        } else {
            std::printf("%s = INTEGER: %ld\n", Text::Narrow(oid).c_str(), value.lVal);
        }
    }

    NamedDevice m_device;
    Orvane::MIBConnection* m_mib = nullptr;
    bool m_json = false;
};

const CommandRegistration<MibCommand> registration;

}  // namespace

}  // namespace tools
