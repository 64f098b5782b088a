#include "UsbTransferCase.h"

#include <cstdio>
#include <memory>
#include <string>

#include "iostack/CIOUSB.h"
#include "usbprinter/UsbPrinterDriver.h"
#include "usbprinter/VirtualUsbPrinter.h"

namespace bench {

namespace {

const wchar_t kPrintPath[] = L"\\\\?\\usb#vid_1234&pid_5678#zqbench#{28d78fad-5a12-11d1-ae5b-0000f803a8c2}";

std::unique_ptr<usbprinter::VirtualUsbPrinter>& Printer()
{
    static std::unique_ptr<usbprinter::VirtualUsbPrinter> printer;
    return printer;
}

}  // namespace

UsbBenchPrinter::UsbBenchPrinter()
{
    std::string error;
    Printer() = std::make_unique<usbprinter::VirtualUsbPrinter>();
    // What the host writes is counted and dropped.
    Printer()->SetSink(USBPRINTER_FUNCTION_PRINT, [](const unsigned char*, size_t) {});
    Printer()->SetEndlessReads(USBPRINTER_FUNCTION_PRINT, true);
    if (!Printer()->Attach(usbprinter::UsbPrinterDriverBesideProgram(), &error)) {
        std::fprintf(stderr, "bench: the virtual USB printer: %s\n", error.c_str());
        return;
    }
    m_ready = Printer()->Plug(USBPRINTER_FUNCTION_PRINT, kPrintPath);
}

UsbBenchPrinter::~UsbBenchPrinter()
{
    Printer().reset();
}

UsbTransferCase::UsbTransferCase(const std::string& id, Direction direction, bool raw, unsigned long chunk)
    : TransferCase(id, direction, 0, chunk), m_raw(raw)
{
}

UsbTransferCase::~UsbTransferCase()
{
    End();
}

bool UsbTransferCase::Begin()
{
    if (m_raw) {
        m_file = CreateFileW(kPrintPath, GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                             FILE_FLAG_OVERLAPPED, nullptr);
        m_event = CreateEventW(nullptr, TRUE, FALSE, nullptr);
        return m_file != INVALID_HANDLE_VALUE && m_event != nullptr;
    }
    m_connection = static_cast<QVIOStack::CIOUSB*>(QVIOStack::CreateIOUSB());
    if (m_connection == nullptr) {
        return false;
    }
    m_connection->AddRef();
    return m_connection->Initialize(kPrintPath) == 0 && m_connection->Open(nullptr) == 0;
}

unsigned long long UsbTransferCase::Step()
{
    std::vector<char>& chunk = Chunk();
    const DWORD size = static_cast<DWORD>(chunk.size());
    if (!m_raw) {
        unsigned long done = 0;
        const unsigned long status = Writes() ? m_connection->Write(chunk.data(), size, &done, nullptr)
                                              : m_connection->Read(chunk.data(), size, &done, nullptr);
        return status == 0 ? done : 0;
    }
    OVERLAPPED overlapped{};
    overlapped.hEvent = m_event;
    DWORD done = 0;
    const BOOL started = Writes() ? WriteFile(m_file, chunk.data(), size, &done, &overlapped)
                                  : ReadFile(m_file, chunk.data(), size, &done, &overlapped);
    if (!started && (GetLastError() != ERROR_IO_PENDING || !GetOverlappedResult(m_file, &overlapped, &done, TRUE))) {
        return 0;
    }
    return done;
}

void UsbTransferCase::End()
{
    if (m_connection != nullptr) {
        m_connection->Close();
        m_connection->Dispose();
        m_connection = nullptr;
    }
    if (m_file != INVALID_HANDLE_VALUE) {
        CloseHandle(m_file);
        m_file = INVALID_HANDLE_VALUE;
    }
    if (m_event != nullptr) {
        CloseHandle(m_event);
        m_event = nullptr;
    }
}

}  // namespace bench
