// orvane http: one HTTP exchange with a device's web server, through the
// library's HTTPRequest.
#include <windows.h>

#include <fcntl.h>
#include <io.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include "common/ArgumentParser.h"
#include "common/ErrorText.h"
#include "common/Text.h"
#include "orvane/CommandRegistry.h"
#include "orvane/NamedDevice.h"
#include "orvane64.h"

namespace tools {

namespace {

// The response names its headers one by one; -i shows these when present.
const wchar_t* const kShownHeaders[] = {
    L"Content-Type", L"Content-Length", L"Transfer-Encoding", L"Location", L"WWW-Authenticate",
    L"Connection",   L"Server",         L"Date",              L"Last-Modified", L"Cache-Control",
};

// A request header from -H: name and value.
using Header = std::pair<std::wstring, std::wstring>;

class HttpCommand : public Command {
public:
    const wchar_t* Name() const override { return L"http"; }
    const char* Summary() const override { return "one HTTP request to a device's web server (default port 80)"; }
    const char* Usage() const override
    {
        return "usage: orvane http [OPTIONS] ADDRESS[:PORT] URI\n"
               "       orvane http [OPTIONS] (--queue NAME | --port NAME) [--port-number PORT]\n"
               "                   URI\n"
               "\n"
               "Sends one request through an orvane64 HTTPRequest and writes the body of\n"
               "the answer to standard output, like curl. PORT is 80 when left out; the\n"
               "library speaks HTTP on ports 80 to 8080, and HTTPS on 443 and 7627.\n"
               "A 401 answer is retried once with the credentials (Basic or Digest, as\n"
               "the device asks), and 301, 302 and 307 are followed. The library reads\n"
               "no body for any other status above 200 (a 404 comes without its page).\n"
               "\n"
               "options:\n"
               "  --method M         GET, PUT, POST or DELETE (default GET, or POST with\n"
               "                     a body)\n"
               "  -H NAME:VALUE      a request header; may be repeated\n"
               "  --data TEXT        the request body\n"
               "  --data-file FILE   the request body from FILE (text: the library sends\n"
               "                     a body up to its first zero byte, so such a file is\n"
               "                     refused)\n"
               "  --content-type T   Content-Type of the body (default\n"
               "                     application/octet-stream)\n"
               "  --user NAME        user name for a protected page\n"
               "  --password TEXT    its password\n"
               "  -i                 write the status line and the response's usual\n"
               "                     headers before the body: Content-Type,\n"
               "                     Content-Length, Transfer-Encoding, Location,\n"
               "                     WWW-Authenticate, Connection, Server, Date,\n"
               "                     Last-Modified, Cache-Control\n"
               "  -o FILE            write the body to FILE\n"
               "  --fail             exit with 1 when the status is 400 or more\n"
               "  --queue NAME       the device behind this print queue\n"
               "  --port NAME        the device behind this print port, such as USB001\n"
               "  --port-number PORT the port on a device named by queue or port\n"
               "                     (default 80)\n"
               "  --help             this text\n"
               "\n"
               "exit codes: 0 an answer came, 1 no answer (connection failed or the\n"
               "answer was malformed; 'orvane log on' records why) or, with --fail, an\n"
               "error status, 2 usage error or unreadable FILE\n";
    }

    int Run(const std::vector<std::wstring>& arguments) override
    {
        std::vector<std::wstring> options = NamedDevice::Options();
        options.insert(options.end(), {L"--method", L"-H", L"--data", L"--data-file", L"--content-type", L"--user",
                                       L"--password", L"-o"});
        ArgumentParser parser(options, {L"-i", L"--fail", L"--help"});
        if (!parser.Parse(arguments)) {
            return UsageError(parser.Error());
        }
        if (parser.Has(L"--help")) {
            return ShowUsage();
        }
        const bool byName = NamedDevice::ByName(parser);
        if (parser.Positional().size() != (byName ? 1u : 2u)) {
            return UsageError(byName ? "expected URI" : "expected ADDRESS[:PORT] and URI");
        }
        NamedDevice target;
        if (!target.Parse(parser, byName ? L"" : parser.Positional()[0], 80, DeviceTarget::Ports::Any)) {
            return UsageError(target.Error());
        }
        if (parser.Has(L"--data") && parser.Has(L"--data-file")) {
            return UsageError("give --data or --data-file, not both");
        }
        std::string body;
        if (parser.Has(L"--data")) {
            body = Text::Narrow(parser.Value(L"--data"));
        } else if (parser.Has(L"--data-file") && !ReadBody(parser.Value(L"--data-file"), &body)) {
            return kExitUsage;
        }
        const bool hasBody = parser.Has(L"--data") || parser.Has(L"--data-file");
        std::vector<Header> headers;
        for (const std::wstring& text : parser.Values(L"-H")) {
            const size_t colon = text.find(L':');
            if (colon == std::wstring::npos || colon == 0) {
                return UsageError("header '" + Text::Narrow(text) + "' is not NAME:VALUE");
            }
            const size_t value = text.find_first_not_of(L' ', colon + 1);
            headers.emplace_back(text.substr(0, colon), value == std::wstring::npos ? L"" : text.substr(value));
        }

        if (!target.Open()) {
            Complain(target.Error());
            return kExitFailure;
        }
        Orvane::HTTPRequest* request = nullptr;
        const unsigned long created = target->CreateHTTPRequest(&request, target.Port());
        if (created != 0 || request == nullptr) {
            Complain("the library makes no HTTP request on port " + std::to_string(target.Port())
                     + ": it uses ports 80 to 8080, 443 and 7627");
            return kExitFailure;
        }
        const int result = Exchange(parser, target, headers, hasBody, body, request);
        request->Dispose();
        return result;
    }

private:
    bool ReadBody(const std::wstring& path, std::string* body) const
    {
        std::ifstream file(path.c_str(), std::ios::binary);
        if (!file) {
            Complain("cannot read " + Text::Narrow(path));
            return false;
        }
        body->assign(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
        const size_t zero = body->find('\0');
        if (zero != std::string::npos) {
            Complain(Text::Narrow(path) + " has a zero byte at offset " + std::to_string(zero)
                     + ": the library sends a body as text");
            return false;
        }
        return true;
    }

    int Exchange(const ArgumentParser& parser, const NamedDevice& target, const std::vector<Header>& headers,
                 bool hasBody, const std::string& body, Orvane::HTTPRequest* request) const
    {
        const std::wstring method = parser.Value(L"--method", hasBody ? L"POST" : L"GET");
        if (request->SetMethod(method.c_str()) != 0) {
            return UsageError("unknown method '" + Text::Narrow(method) + "': GET, PUT, POST or DELETE");
        }
        for (const Header& header : headers) {
            request->SetHeader(header.first.c_str(), header.second.c_str());
        }
        request->SetURI(parser.Positional().back().c_str());
        if (parser.Has(L"--user")) {
            request->SetUserName(parser.Value(L"--user").c_str());
            request->SetPassword(parser.Value(L"--password").c_str());
        }
        if (hasBody) {
            request->SetContentType(parser.Value(L"--content-type", L"application/octet-stream").c_str());
            request->SetContent(body.data(), static_cast<unsigned long>(body.size()));
        }

        Orvane::HTTPResponse* response = nullptr;
        const unsigned long status = request->GetResponse(&response);
        if (status != 0 || response == nullptr) {
            Complain("no answer from " + target.Text() + ": " + ErrorText::Status(status)
                     + " (the connection failed or the answer was malformed; 'orvane log on' records why)");
            return kExitFailure;
        }
        return Report(parser, response);
    }

    int Report(const ArgumentParser& parser, Orvane::HTTPResponse* response) const
    {
        FILE* out = stdout;
        if (parser.Has(L"-o")) {
            out = _wfopen(parser.Value(L"-o").c_str(), L"wb");
            if (out == nullptr) {
                Complain("cannot make " + Text::Narrow(parser.Value(L"-o")) + ": error "
                         + ErrorText::Describe(GetLastError()));
                return kExitUsage;
            }
        } else {
            std::fflush(stdout);
            _setmode(_fileno(stdout), _O_BINARY);
        }
        const unsigned long status = response->GetStatusCode();
        if (parser.Has(L"-i")) {
            std::fprintf(out, "HTTP %lu\r\n", status);
            for (const wchar_t* name : kShownHeaders) {
                if (const wchar_t* value = response->GetHeader(name)) {
                    std::fprintf(out, "%s: %s\r\n", Text::Narrow(name).c_str(), Text::Narrow(value).c_str());
                }
            }
            std::fprintf(out, "\r\n");
        }
        const unsigned long length = response->GetContentAvailable();
        if (const unsigned char* content = response->GetContent()) {
            std::fwrite(content, 1, length, out);
        }
        std::fflush(out);
        if (out != stdout) {
            std::fclose(out);
        }
        return parser.Has(L"--fail") && status >= 400 ? kExitFailure : kExitOk;
    }
};

const CommandRegistration<HttpCommand> registration;

}  // namespace

}  // namespace tools
