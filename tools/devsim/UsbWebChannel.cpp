#include "devsim/UsbWebChannel.h"

#include "devsim/HttpRequest.h"
#include "devsim/HttpResponse.h"

namespace devsim {

UsbWebChannel::UsbWebChannel(usbprinter::VirtualUsbPrinter& printer, WebSite& site, EventLog* log)
    : UsbWebChannel(printer, [&site, log](const std::string&, const HttpRequest& request) {
          const HttpResponse response = site.Respond(request);
          if (log != nullptr) {
              log->Line("usb http " + request.method + " " + request.target + ": " + std::to_string(response.Status()));
          }
          return response.Serialize(request.method == "HEAD", request.KeepAlive(), request.version == "HTTP/1.0");
      })
{
}

UsbWebChannel::UsbWebChannel(usbprinter::VirtualUsbPrinter& printer, Answerer answerer)
    : m_printer(printer),
      m_answerer(std::move(answerer)),
      m_wake(CreateEventW(nullptr, FALSE, FALSE, nullptr)),
      m_stop(CreateEventW(nullptr, TRUE, FALSE, nullptr))
{
    // The sink runs under the printer's lock: it only hands the bytes on.
    m_printer.SetSink(USBPRINTER_FUNCTION_CONFIG, [this](const unsigned char* data, size_t size) {
        std::lock_guard<std::mutex> guard(m_lock);
        m_arrived.append(reinterpret_cast<const char*>(data), size);
        SetEvent(m_wake);
    });
    m_thread = std::thread([this] { Run(); });
}

UsbWebChannel::~UsbWebChannel()
{
    m_printer.SetSink(USBPRINTER_FUNCTION_CONFIG, nullptr);
    SetEvent(m_stop);
    m_thread.join();
    CloseHandle(m_wake);
    CloseHandle(m_stop);
}

void UsbWebChannel::Run()
{
    std::string input;
    const HANDLE waits[2] = {m_stop, m_wake};
    while (WaitForMultipleObjects(2, waits, FALSE, INFINITE) == WAIT_OBJECT_0 + 1) {
        {
            std::lock_guard<std::mutex> guard(m_lock);
            input += m_arrived;
            m_arrived.clear();
        }
        Answer(input);
    }
}

void UsbWebChannel::Answer(std::string& input)
{
    for (;;) {
        HttpRequest request;
        size_t consumed = 0;
        const HttpRequest::Result result = HttpRequest::Parse(input, &request, &consumed);
        if (result == HttpRequest::Result::Incomplete) {
            return;
        }
        std::string answer;
        if (result == HttpRequest::Result::Bad) {
            HttpResponse response(400, "Bad Request");
            response.SetBody("text/plain", "bad request\r\n");
            answer = response.Serialize(false, false, false);
            input.clear();
        } else {
            answer = m_answerer(input.substr(0, consumed), request);
            input.erase(0, consumed);
        }
        m_printer.Supply(USBPRINTER_FUNCTION_CONFIG, answer.data(), answer.size());
    }
}

}  // namespace devsim
