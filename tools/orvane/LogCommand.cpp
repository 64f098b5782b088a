// orvane log: switches the library's log on and off in the registry.
#include <windows.h>
#include <shlobj.h>

#include <algorithm>
#include <cstdio>
#include <vector>

#include "common/ArgumentParser.h"
#include "common/ErrorText.h"
#include "common/Text.h"
#include "orvane/CommandRegistry.h"
#include "orvane/LoggingKey.h"

namespace tools {

namespace {

const wchar_t* const kModules[] = {L"OrvaneAPI",     L"Utils",     L"OrvaneLib", L"DeviceManagerLib",
                                   L"HTTPClientLib", L"IONetwork", L"IOCommon",  L"IOUSB",
                                   L"OrvaneResolver", L"DiscoveryLib"};

// Every category: informational lines with their levels, exception, warning,
// error, status, debug, entry, exit, numbered lines, lock, parameters,
// return values, error texts and the header.
const DWORD kAllCategories = 0x7600FFFF;
// Date, time, thread, indentation by nesting, duration on exit lines; no
// size limit.
const DWORD kDefaultOptions = 0x0B600000;
const DWORD kDefaultLevel = 7;
const unsigned long kHighestLevel = 15;

class LogCommand : public Command {
public:
    const wchar_t* Name() const override { return L"log"; }
    const char* Summary() const override { return "switch the library's log on or off, or show it"; }
    const char* Usage() const override
    {
        return "usage: orvane log on|off|show [--process EXE [--module NAME]] [--file PATH] [--level N]\n"
               "\n"
               "The library reads its log settings from HKEY_CURRENT_USER\\Software\\ZQ\\QV\\Logging,\n"
               "then from the subkey of a process (EXE, such as app.exe), then from the\n"
               "subkey of one of its modules (EXE\\NAME); each level overrides the one before.\n"
               "Settings are read again within 30 seconds, without a restart.\n"
               "\n"
               "  on    writes LogCategories, LogOptions, LogInfoDetailLevel and LogFileName:\n"
               "          LogCategories      0x7600FFFF  every category, with function entry\n"
               "                                         and exit and the header (0x40000000)\n"
               "          LogOptions         0x0B600000  date, time, thread, indentation,\n"
               "                                         duration; no size limit\n"
               "          LogInfoDetailLevel 7           or --level N (0 to 15)\n"
               "          LogFileName        orvane.log in the common application data\n"
               "                             folder (C:\\ProgramData), or --file PATH; a\n"
               "                             relative PATH is made absolute, one with\n"
               "                             %VARIABLES% is kept as written\n"
               "  off   removes those four values, and the keys left empty\n"
               "  show  prints the values in force for the scope, the keys they come from,\n"
               "        and where the log goes\n"
               "\n"
               "options:\n"
               "  --process EXE  a process's own settings, such as app.exe\n"
               "  --module NAME  one module of that process (EXE defaults to orvane.exe):\n"
               "                 OrvaneAPI, Utils, OrvaneLib, DeviceManagerLib, HTTPClientLib,\n"
               "                 IONetwork, IOCommon, IOUSB, OrvaneResolver, DiscoveryLib\n"
               "  --file PATH    the log file, for 'on'\n"
               "  --level N      the highest informational level, for 'on'\n"
               "  --help         this text\n"
               "\n"
               "exit codes: 0 done, 1 the registry refused, 2 usage error\n";
    }

    int Run(const std::vector<std::wstring>& arguments) override
    {
        ArgumentParser parser({L"--process", L"--module", L"--file", L"--level"}, {L"--help"});
        unsigned long level = 0;
        if (!parser.Parse(arguments) || !parser.Number(L"--level", kDefaultLevel, 0, kHighestLevel, &level)) {
            return UsageError(parser.Error());
        }
        if (parser.Has(L"--help")) {
            return ShowUsage();
        }
        if (parser.Positional().size() != 1) {
            return UsageError("expected on, off or show");
        }
        const std::wstring& action = parser.Positional()[0];
        if (action != L"on" && (parser.Has(L"--file") || parser.Has(L"--level"))) {
            return UsageError("--file and --level go with 'on'");
        }
        const std::wstring module = parser.Value(L"--module");
        if (parser.Has(L"--module") && std::find(std::begin(kModules), std::end(kModules), module) == std::end(kModules)) {
            return UsageError("unknown module '" + Text::Narrow(module)
                              + "'; 'orvane log --help' lists the modules");
        }
        const std::wstring process = parser.Value(L"--process", parser.Has(L"--module") ? L"orvane.exe" : L"");
        if (parser.Has(L"--process") && (process.empty() || process.find(L'\\') != std::wstring::npos)) {
            return UsageError("--process needs a program's file name, such as app.exe");
        }
        std::vector<LoggingKey> chain{LoggingKey(L"")};
        if (!process.empty()) {
            chain.emplace_back(process);
        }
        if (!module.empty()) {
            chain.emplace_back(process + L"\\" + module);
        }
        if (action == L"on") {
            return On(chain.back(), level, parser.Value(L"--file"));
        }
        if (action == L"off") {
            return Off(chain.back());
        }
        if (action == L"show") {
            return Show(chain);
        }
        return UsageError("expected on, off or show, not '" + Text::Narrow(action) + "'");
    }

private:
    int On(const LoggingKey& key, unsigned long level, const std::wstring& file)
    {
        LogSettings settings;
        settings.categories = kAllCategories;
        settings.options = kDefaultOptions;
        settings.detailLevel = level;
        settings.fileName = file.empty() ? DefaultLogFile() : AbsoluteUnlessVariable(file);
        const LONG status = key.Write(settings);
        if (status != ERROR_SUCCESS) {
            Complain("cannot write " + key.DisplayPath() + ": error " + ErrorText::Describe(status));
            return kExitFailure;
        }
        std::printf("logging on: values written to %s\n", key.DisplayPath().c_str());
        for (const std::string& line : settings.Lines()) {
            std::printf("%s\n", line.c_str());
        }
        return kExitOk;
    }

    int Off(const LoggingKey& key)
    {
        const LONG status = key.Remove();
        if (status != ERROR_SUCCESS) {
            Complain("cannot remove the values of " + key.DisplayPath() + ": error " + ErrorText::Describe(status));
            return kExitFailure;
        }
        std::printf("logging off: values removed from %s\n", key.DisplayPath().c_str());
        return kExitOk;
    }

    int Show(const std::vector<LoggingKey>& chain)
    {
        LogSettings inForce;
        std::vector<std::string> sources;
        for (const LoggingKey& key : chain) {
            const LogSettings level = key.Read();
            inForce = level.Over(inForce);
            if (!level.Empty()) {
                sources.push_back(key.DisplayPath());
            }
        }
        std::printf("settings for %s\n", chain.back().DisplayPath().c_str());
        for (const std::string& line : inForce.Lines()) {
            std::printf("%s\n", line.c_str());
        }
        for (const std::string& source : sources) {
            std::printf("set in %s\n", source.c_str());
        }
        // The low four category bits are always on; without another category
        // or a detail level no line passes.
        const bool on = (inForce.categories.value_or(0) & ~0xFul) != 0 || inForce.detailLevel.value_or(0) != 0;
        std::printf("logging: %s\n", on ? "on" : "off");
        if (inForce.fileName && !inForce.fileName->empty()) {
            std::printf("log file: %s\n", Text::Narrow(Expanded(*inForce.fileName)).c_str());
        } else {
            std::printf("log file: none (LogFileName not set)\n");
        }
        return kExitOk;
    }

    static std::wstring DefaultLogFile()
    {
        wchar_t folder[MAX_PATH] = L"C:\\ProgramData";
        SHGetFolderPathW(nullptr, CSIDL_COMMON_APPDATA, nullptr, SHGFP_TYPE_CURRENT, folder);
        return std::wstring(folder) + L"\\orvane.log";
    }

    static std::wstring AbsoluteUnlessVariable(const std::wstring& file)
    {
        wchar_t full[MAX_PATH];
        if (file.find(L'%') != std::wstring::npos
            || GetFullPathNameW(file.c_str(), MAX_PATH, full, nullptr) - 1 >= MAX_PATH - 1) {
            return file;
        }
        return full;
    }

    static std::wstring Expanded(const std::wstring& file)
    {
        wchar_t expanded[MAX_PATH];
        const DWORD length = ExpandEnvironmentStringsW(file.c_str(), expanded, MAX_PATH);
        return length == 0 || length > MAX_PATH ? file : std::wstring(expanded);
    }
};

const CommandRegistration<LogCommand> registration;

}  // namespace

}  // namespace tools
