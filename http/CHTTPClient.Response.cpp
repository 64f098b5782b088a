// The HTTP client's response reader: the header into its buffer, the status
// and header lines, and the content by its known length, in chunks with
// trailers, or until the device pauses, into the client's or the caller's
// buffer.
#include "http/CHTTPClient.h"

#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <new>
#include <sstream>
#include <vector>

#include "http/CCodePage1252.h"
#include "http/CHTTPNavigateParams.h"
#include "http/HTTPStatus.h"
#include "iostack/IOStatus.h"
#include "logging/LogTrace.h"

QV_LOG_SOURCE_FILE()

using QVUtils::CProgressAggregator;
using QVUtils::IProgress;

namespace QVIOStack {

namespace {

constexpr unsigned long kHeaderTextLimit = 1024;
constexpr unsigned long kStatusUnauthorized = 401;
constexpr unsigned long kStatusContinue = 100;
constexpr unsigned long kStatusOK = 200;
constexpr unsigned long kMethodPut = 1;
constexpr unsigned long kMethodHead = 4;
// The header buffer of a response, also the limit on its header block.
constexpr unsigned long kResponseBufferSize = 4096;
// How long a response without a length may pause before it counts as ended.
constexpr unsigned long kUnknownSizeTimeoutMs = 500;
// The step by which the client's buffer grows when data are copied into it.
constexpr unsigned long kContentGrowth = 4096;
constexpr unsigned long kProgressRead = 11;

// Position of the first CR LF in a byte range, or `length` if there is none.
unsigned long FindLineEnd(const char* text, unsigned long length)
{
    for (unsigned long i = 0; i + 1 < length; ++i) {
        if (text[i] == '\r' && text[i + 1] == '\n') {
            return i;
        }
    }
    return length;
}

// The size of a chunk line without its line end: a hexadecimal number read
// as a stream does, so that an extension behind it is ignored and a line
// without a number counts as 0.
long ParseChunkSize(const char* line, unsigned long length)
{
    std::istringstream stream(std::string(line, length));
    long size = 0;
    stream >> std::hex >> size;
    return size;
}

// The names of a Trailer header, split at each "," and not trimmed.
std::vector<std::wstring> SplitTrailerNames(const std::wstring& value)
{
    std::vector<std::wstring> names;
    size_t start = 0;
    for (size_t comma; (comma = value.find(L',', start)) != std::wstring::npos; start = comma + 1) {
        names.push_back(value.substr(start, comma - start));
    }
    names.push_back(value.substr(start));
    return names;
}

}  // namespace

unsigned long CHTTPClient::ReadResponse(IProgress* progress)
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPClient::ReadResponse");
    CProgressAggregator localProgress(progress, 4);
    char buffer[kResponseBufferSize];
    unsigned long ulHeaderBytes = 0;
    unsigned long contentLength = 0;
    unsigned long status = 0;
    ReadState state = rs_start;
    while (state != rs_done) {
        const unsigned long headerLength = static_cast<unsigned long>(m_strResponseHeader.size());
        switch (state) {
        case rs_start:
            m_headers.clear();
            m_strResponseHeader.clear();
            FreeContentBuffer();
            ulHeaderBytes = 0;
            state = rs_readHeader;
            if (!localProgress.Step(kProgressRead)) {
                status = Error_Aborted;
                state = rs_done;
            }
            break;
        case rs_readHeader:
            status = ReadHeader(buffer, sizeof(buffer), &ulHeaderBytes, &localProgress);
            if (status != 0) {
                if (status == Error_Timeout) {
                    QV_LOG_ERROR(L"CHTTPClient::ReadResponse ReadHeader failed (Error_Timeout=>Error_IO_Read_Fail)");
                    status = Error_IO_Read_Fail;
                }
                state = rs_done;
                break;
            }
            state = rs_parseHeader;
            if (!localProgress.StepNext(kProgressRead)) {
                status = Error_Aborted;
                state = rs_done;
            }
            break;
        case rs_parseHeader:
            if (ParseResponseHeader(buffer, headerLength) != 0) {
                QV_LOG_ERROR(L"CHTTPClient::ReadResponse ParseResponseHeader failed (Error_IO_Read_Fail)");
                status = Error_IO_Read_Fail;
                state = rs_done;
                break;
            }
            state = ChooseContentReading(&contentLength);
            break;
        case rs_readContentKnownSize:
            localProgress.Inhibit(true);
            status = ReadContentKnownSize(buffer + headerLength, ulHeaderBytes - headerLength, contentLength,
                                          &localProgress);
            localProgress.Inhibit(false);
            if (status == Error_Timeout) {
                QV_LOG_ERROR(L"CHTTPClient::ReadResponse rs_readContentKnownSize CopyDataToContentBuffer timed out "
                             L"(Error_IO_Read_Fail)");
                status = Error_IO_Read_Fail;
            }
            state = rs_done;
            break;
        case rs_readContentUnknownSize:
            localProgress.Inhibit(true);
            status = ReadContentUnknownSize(buffer + headerLength, ulHeaderBytes - headerLength, &localProgress);
            localProgress.Inhibit(false);
            state = rs_done;
            break;
        case rs_readContentChunked:
            status = ReadContentChunked(buffer, sizeof(buffer), ulHeaderBytes, &localProgress);
            state = rs_done;
            break;
        default:
            state = rs_done;
            break;
        }
    }

    // Chunked and unknown-size content tell their length like any other.
    if (contentLength == 0 && m_ulContentBufferUsed != 0) {
        m_headers[L"Content-Length"] = std::to_wstring(m_ulContentBufferUsed);
    }
    if (!localProgress.StepNext(kProgressRead)) {
        status = Error_Aborted;
    }
    if (m_ulStatusCode == kStatusUnauthorized) {
        SetupAuthentication();
    }
    return logScope.m_errorCode = status;
}

// After a parsed header: what to read of the content, by the status and the
// headers. 100 starts over; other statuses above 200, except 401, carry no
// content that is read. A HEAD with a length reads nothing, a HEAD without
// one reads until the device stops; a PUT without a length reads nothing.
CHTTPClient::ReadState CHTTPClient::ChooseContentReading(unsigned long* contentLength)
{
    if (m_ulStatusCode == kStatusContinue) {
        return rs_start;
    }
    if (m_ulStatusCode > kStatusOK && m_ulStatusCode != kStatusUnauthorized) {
        return rs_done;
    }
    const unsigned long method = m_pNavigateParams ? m_pNavigateParams->GetHTTPRequestMethod() : 0;
    if (IsContentChunked()) {
        return rs_readContentChunked;
    }
    if (IsContentLengthSpecified(contentLength)) {
        return method == kMethodHead ? rs_done : rs_readContentKnownSize;
    }
    return method == kMethodPut ? rs_done : rs_readContentUnknownSize;
}

unsigned long CHTTPClient::ReadContentKnownSize(const char* behindHeader, unsigned long behindCount,
                                                unsigned long contentLength, IProgress* progress)
{
    unsigned long status = CreateContentBufferIfNeeded(contentLength);
    if (status == 0) {
        status = CopyDataToContentBuffer(behindHeader, behindCount);
    }
    if (status == 0 && behindCount < contentLength) {
        unsigned long bytesRead = 0;
        status = ReadContentNumBytes(contentLength - behindCount, &bytesRead, progress);
    }
    return status;
}

// Reads until the device pauses for longer than a short read timeout: the
// time-out is the normal end. A closed connection gives 1, a success that
// Navigate overwrites with the result of closing.
unsigned long CHTTPClient::ReadContentUnknownSize(const char* behindHeader, unsigned long behindCount,
                                                  IProgress* progress)
{
    unsigned long status = CreateContentBufferIfNeeded(kResponseBufferSize);
    if (status == 0) {
        status = CopyDataToContentBuffer(behindHeader, behindCount);
    }
    if (status != 0) {
        return status;
    }
    const unsigned long readTimeout = m_pIDeviceConnection->GetReadTimeout();
    m_pIDeviceConnection->SetReadTimeout(kUnknownSizeTimeoutMs);
    unsigned long bytesRead = 0;
    do {
        status = ReadContentNumBytes(kResponseBufferSize, &bytesRead, progress);
    } while (status == 0);
    m_pIDeviceConnection->SetReadTimeout(readTimeout);
    if (status == Error_Timeout) {
        return 0;
    }
    return status == Error_IO_Read_Fail ? 1 : status;
}

unsigned long CHTTPClient::ParseResponseHeader(const char* header, unsigned long length)
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPClient::ParseResponseHeader");
    unsigned long statusLength = 0;
    unsigned long status = ParseStatusFromHeader(header, length, &statusLength);
    if (status != 0) {
        return logScope.m_errorCode = status;
    }
    const std::string rest(header + statusLength, length - statusLength);
    const char* line = rest.data();
    unsigned long remaining = static_cast<unsigned long>(rest.size());
    while (remaining >= 2 && status == 0) {
        unsigned long lineLength = 0;
        status = FindNextHeaderLen(line, remaining, &lineLength);
        if (status == 0 && lineLength > 2) {
            ParseHeader(line, lineLength);
        }
        line += lineLength;
        remaining -= lineLength;
    }
    return logScope.m_errorCode = status;
}

unsigned long CHTTPClient::ParseStatusFromHeader(const char* header, unsigned long length,
                                                 unsigned long* statusLength)
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPClient::ParseStatusFromHeader");
    if (header == nullptr || length == 0) {
        QV_LOG_ERROR(L"%s Error_Fail pHeader is null or ulHeaderLen is zero", logScope.GetDisplayName());
        return logScope.m_errorCode = Error_Fail;
    }
    unsigned long blank = 0;
    while (blank + 5 <= length && !(header[blank] == ' ' && header[blank + 1] != ' ')) {
        ++blank;
    }
    if (blank + 5 > length) {
        return logScope.m_errorCode = Error_Fail;
    }
    const std::string code(header + blank + 1, 3);
    const long number = strtol(code.c_str(), nullptr, 10);
    *statusLength = blank + 5;
    if (number >= 506) {
        return logScope.m_errorCode = Error_Fail;
    }
    m_ulStatusCode = static_cast<unsigned long>(number);
    if (*statusLength >= length - 4) {
        QV_LOG_ERROR(L"%s Error_Fail invalid header ulStatusLen=%d ulHeaderLen=%d", logScope.GetDisplayName(),
                     static_cast<int>(*statusLength), static_cast<int>(length));
        return logScope.m_errorCode = Error_Fail;
    }
    unsigned long lineLength = 0;
    FindNextHeaderLen(header + *statusLength, length - *statusLength, &lineLength);
    if (lineLength < 3) {
        return 0;
    }
    if (!CCodePage1252::ToWide(header + *statusLength, lineLength - 2, kHeaderTextLimit, m_strStatusText)) {
        return logScope.m_errorCode = Error_Fail;
    }
    *statusLength += lineLength;
    return 0;
}

unsigned long CHTTPClient::FindNextHeaderLen(const char* buffer, unsigned long length, unsigned long* lineLength)
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPClient::FindNextHeaderLen");
    *lineLength = 0;
    if (buffer == nullptr) {
        QV_LOG_ERROR(L"%s Error_Fail pBuffer is null", logScope.GetDisplayName());
        return logScope.m_errorCode = Error_Fail;
    }
    if (length == 0) {
        return 0;
    }
    const unsigned long end = FindLineEnd(buffer, length);
    if (end == length) {
        return logScope.m_errorCode = Error_Fail;
    }
    *lineLength = end + 2;
    return 0;
}

unsigned long CHTTPClient::ParseHeader(const char* line, unsigned long length)
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPClient::ParseHeader");
    if (line == nullptr || length == 0) {
        QV_LOG_ERROR(L"%s Error_Fail pHeader is null or ulHeaderLen is zero", logScope.GetDisplayName());
        return logScope.m_errorCode = Error_Fail;
    }
    const unsigned long end = FindLineEnd(line, length);
    const char* separator = nullptr;
    for (unsigned long i = 0; i + 1 < end && separator == nullptr; ++i) {
        if (line[i] == ':' && line[i + 1] == ' ') {
            separator = line + i;
        }
    }
    if (separator == nullptr) {
        return logScope.m_errorCode = Error_Fail;
    }
    const unsigned long nameLength = static_cast<unsigned long>(separator - line);
    std::wstring name;
    std::wstring value;
    if (!CCodePage1252::ToWide(line, nameLength, kHeaderTextLimit, name)
        || !CCodePage1252::ToWide(separator + 2, end - nameLength - 2, kHeaderTextLimit, value)) {
        return logScope.m_errorCode = Error_Fail;
    }
    m_headers[name] = value;
    return 0;
}

unsigned long CHTTPClient::ReadHeader(char* buffer, unsigned long size, unsigned long* headerBytes,
                                      IProgress* progress)
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPClient::ReadHeader");
    CProgressAggregator localProgress(progress, 1);
    localProgress.Inhibit(true);
    *headerBytes = 0;
    for (;;) {
        unsigned long headerLength = 0;
        if (IsHeaderComplete(buffer, *headerBytes, &headerLength)) {
            m_strResponseHeader.assign(buffer, headerLength);
            return 0;
        }
        // A full buffer asks for 0 bytes, which ends in a time-out.
        unsigned long count = 0;
        unsigned long status = ReadData(buffer + *headerBytes, size - *headerBytes, &count, &localProgress);
        *headerBytes += count;
        if (count == 0 && status == 0) {
            QV_LOG_ERROR(L"CHTTPClient::ReadHeader zero bytes read (Error_IO_Read_Fail)");
            status = Error_IO_Read_Fail;
        }
        if (status == 0 && !localProgress.Step(kProgressRead)) {
            status = Error_Aborted;
        }
        if (status != 0) {
            return logScope.m_errorCode = status;
        }
    }
}

bool CHTTPClient::IsHeaderComplete(const char* buffer, unsigned long bytes, unsigned long* headerLength)
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPClient::IsHeaderComplete");
    for (unsigned long i = 0; i + 4 <= bytes; ++i) {
        if (memcmp(buffer + i, "\r\n\r\n", 4) == 0) {
            *headerLength = i + 4;
            return true;
        }
    }
    return false;
}

bool CHTTPClient::IsContentChunked()
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPClient::IsContentChunked");
    const wchar_t* encoding = GetHeaderEntry(L"Transfer-Encoding");
    return encoding != nullptr && HeaderNameLess::Equal(encoding, L"Chunked");
}

bool CHTTPClient::IsContentLengthSpecified(unsigned long* length)
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPClient::IsContentLengthSpecified");
    const wchar_t* value = GetHeaderEntry(L"Content-Length");
    if (value == nullptr) {
        return false;
    }
    *length = static_cast<unsigned long>(wcstol(value, nullptr, 10));
    return true;
}

// The chunk lines are read from the header buffer, where `used` bytes lie
// and the body starts behind the header; chunk data go to the content. A
// chunk line is read a byte at a time only when it isn't in the buffer yet.
unsigned long CHTTPClient::ReadContentChunked(char* buffer, unsigned long size, unsigned long used,
                                              IProgress* progress)
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPClient::ReadContentChunked");
    CProgressAggregator localProgress(progress, 1);
    localProgress.Inhibit(true);
    unsigned long status = CreateContentBufferIfNeeded(kResponseBufferSize);
    unsigned long pos = static_cast<unsigned long>(m_strResponseHeader.size());
    bool lastChunk = false;
    while (status == 0 && !lastChunk) {
        unsigned long lineEnd = pos + FindLineEnd(buffer + pos, used - pos);
        while (status == 0 && lineEnd == used) {
            if (used >= size) {
                QV_LOG_ERROR(L"%s Error_Fail no more space in buffer used=%d len=%d", logScope.GetDisplayName(),
                             static_cast<int>(used), static_cast<int>(size));
                status = Error_Fail;
                break;
            }
            unsigned long count = 0;
            status = ReadData(buffer + used, 1, &count, &localProgress);
            used += count;
            if (status == 0 && count == 0) {
                // A read that brings nothing without failing would repeat for ever.
                status = Error_IO_Read_Fail;
            }
            lineEnd = pos + FindLineEnd(buffer + pos, used - pos);
        }
        if (status != 0) {
            break;
        }
        const long chunkSize = ParseChunkSize(buffer + pos, lineEnd - pos);
        pos = lineEnd + 2;
        QV_LOG_INFO(1, L"ReadContentChunked: next chunksize is %ld bytes", chunkSize);
        if (chunkSize < 0) {
            QV_LOG_ERROR(L"%s Error_Fail negative chunk size", logScope.GetDisplayName());
            status = Error_Fail;
            break;
        }
        if (chunkSize == 0) {
            lastChunk = true;
            break;
        }

        unsigned long missing = static_cast<unsigned long>(chunkSize);
        if (used > pos) {
            const unsigned long held = used - pos;
            if (held >= missing) {
                status = CopyDataToContentBuffer(buffer + pos, missing);
                pos += missing;
                missing = 0;
            } else {
                status = CopyDataToContentBuffer(buffer + pos, held);
                missing -= held;
                pos = 0;
                used = 0;
            }
            if (status != 0) {
                continue;
            }
        }
        if (missing != 0) {
            unsigned long count = 0;
            status = ReadContentNumBytes(missing, &count, &localProgress);
            QV_LOG_INFO(1, L"ReadContentChunked: ReadContentNumBytes requested %ld bytes, read %ld bytes",
                        static_cast<long>(missing), static_cast<long>(count));
            if (status != 0) {
                continue;
            }
        }

        // The chunk's line end, read into the start of the buffer when it
        // isn't there whole.
        if (used - pos >= 2) {
            pos += 2;
            continue;
        }
        const unsigned long lineEndMissing = 2 - (used - pos);
        unsigned long got = 0;
        while (status == 0 && got < lineEndMissing) {
            unsigned long count = 0;
            status = ReadData(buffer + got, lineEndMissing - got, &count, &localProgress);
            got += count;
            if (status == 0 && count == 0) {
                status = Error_IO_Read_Fail;
            }
        }
        pos = 0;
        used = 0;
    }
    // Without a Trailer header the body's final blank line isn't read: it is
    // drained before the next exchange.
    if (status == 0 && GetHeaderEntry(L"Trailer") != nullptr) {
        status = ReadTrailers(buffer, size, pos, used, localProgress, logScope);
    }
    return logScope.m_errorCode = status;
}

// Reads as many header lines behind the last chunk as the Trailer header
// names, enters them into the headers and into the raw header block, and
// checks that every name announced came.
unsigned long CHTTPClient::ReadTrailers(char* buffer, unsigned long size, unsigned long pos, unsigned long used,
                                        CProgressAggregator& progress, QVLogging::CLogFunction& logScope)
{
    const std::vector<std::wstring> names = SplitTrailerNames(GetHeaderEntry(L"Trailer"));
    size_t left = names.size();
    unsigned long status = 0;
    bool reading = true;
    while (left != 0 && status == 0 && reading) {
        memmove(buffer, buffer + pos, used - pos);
        used -= pos;
        pos = 0;
        const unsigned long lineEnd = FindLineEnd(buffer, used);
        if (lineEnd != used && lineEnd != 0) {
            const unsigned long lineLength = lineEnd + 2;
            ParseHeader(buffer, lineLength);
            m_strResponseHeader.insert(m_strResponseHeader.size() - 2, buffer, lineLength);
            pos = lineLength;
            --left;
        } else if (used >= size) {
            QV_LOG_ERROR(L"%s Error_Fail no more space in buffer while reading trailing headers, used=%d len=%d",
                         logScope.GetDisplayName(), static_cast<int>(used), static_cast<int>(size));
            status = Error_Fail;
        } else {
            unsigned long count = 0;
            reading = ReadData(buffer + used, 1, &count, &progress) == 0 && count != 0;
            used += count;
        }
    }
    for (const std::wstring& name : names) {
        if (status == 0 && GetHeaderEntry(name.c_str()) == nullptr) {
            QV_LOG_ERROR(L"%s Error_Fail header entry is null", logScope.GetDisplayName());
            status = Error_Fail;
        }
    }
    if (status == 0 && !progress.StepNext(kProgressRead)) {
        status = Error_Aborted;
    }
    return status;
}

unsigned long CHTTPClient::ReadContentNumBytes(unsigned long count, unsigned long* bytesRead, IProgress* progress)
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPClient::ReadContentNumBytes");
    CProgressAggregator localProgress(progress, 1);
    localProgress.Inhibit(true);
    *bytesRead = 0;
    ContentBuffer* callers = CallersContentBuffer();
    if (callers == nullptr) {
        if (m_pContentBuffer == nullptr) {
            QV_LOG_ERROR(L"%s Error_Fail ContentBuffer is null", logScope.GetDisplayName());
            return logScope.m_errorCode = Error_Fail;
        }
        if (m_ulContentBufferSize - m_ulContentBufferUsed < count && !GrowContentBuffer(count)) {
            FreeContentBuffer();
            return logScope.m_errorCode = Error_OutOfMemory;
        }
    }
    unsigned long status = 0;
    while (*bytesRead < count && status == 0) {
        // The reads go straight into the final buffer.
        ContentBuffer freeRoom{};
        ContentBuffer* target = callers;
        if (callers == nullptr) {
            freeRoom = {m_pContentBuffer + m_ulContentBufferUsed, m_ulContentBufferSize - m_ulContentBufferUsed, 0};
            target = &freeRoom;
        } else if (callers->ulBufferSize == 0 || callers->ulBufferUsed >= callers->ulBufferSize) {
            status = Error_ContentBufferFull;
            continue;
        }
        if (target->pBuffer == nullptr) {
            QV_LOG_ERROR(L"%s Error_Fail ContentBuffer->pBuffer is null", logScope.GetDisplayName());
            status = Error_Fail;
            continue;
        }
        const unsigned long wanted = std::min(count - *bytesRead, target->ulBufferSize - target->ulBufferUsed);
        unsigned long got = 0;
        status = ReadData(target->pBuffer + target->ulBufferUsed, wanted, &got, &localProgress);
        target->ulBufferUsed += got;
        *bytesRead += got;
        if (callers == nullptr) {
            m_ulContentBufferUsed += got;
        }
        if (status == 0 && got == 0) {
            // A read that brings nothing without failing would repeat for ever.
            status = Error_IO_Read_Fail;
        }
        if (!TellReadContent(target)) {
            status = Error_Aborted;
        }
        if (!localProgress.Step(0UL)) {
            status = Error_Aborted;
        }
    }
    return logScope.m_errorCode = status;
}

unsigned long CHTTPClient::ReadData(void* destination, unsigned long count, unsigned long* bytesRead,
                                    IProgress* progress)
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPClient::ReadData");
    *bytesRead = 0;
    if (m_pIDeviceConnection == nullptr) {
        return logScope.m_errorCode = Error_InvalidArgument;
    }
    CProgressAggregator localProgress(progress, 1);
    const unsigned long result = m_pIDeviceConnection->Read(destination, count, bytesRead, &localProgress);
    if (result != 0) {
        QV_LOG_ERROR(L"%s m_pIDeviceConnection->Read returned 0x%08X", logScope.GetDisplayName(), result);
    }
    if (m_pNavigateParams != nullptr) {
        if (PFN_STATUS_CALLBACK callback = m_pNavigateParams->GetReadStatusCallback()) {
            callback(destination, *bytesRead, m_pNavigateParams->GetReadStatusParam());
        }
    }
    unsigned long status = localProgress.Step(kProgressRead) ? 0 : Error_Aborted;
    if (result == IOError_Fail) {
        QV_LOG_ERROR(L"CHTTPClient::ReadData m_pIDeviceConnection->Read (IOError_Fail) Error_IO_Read_Fail");
        status = Error_IO_Read_Fail;
    } else if (result == IOError_Timeout) {
        status = Error_Timeout;
        QV_LOG_ERROR(L"CHTTPClient::ReadData m_pIDeviceConnection->Read Error_Timeout 0x%08X", status);
    } else if (result == 0 && *bytesRead == 0) {
        status = Error_Timeout;
        QV_LOG_ERROR(L"CHTTPClient::ReadData  m_pIDeviceConnection->Read ulBytesRead = 0 Error_Timeout 0x%08X",
                     status);
    }
    return logScope.m_errorCode = status;
}

unsigned long CHTTPClient::CreateContentBufferIfNeeded(unsigned long size)
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPClient::CreateContentBufferIfNeeded");
    if (CallersContentBuffer() != nullptr) {
        return 0;
    }
    FreeContentBuffer();
    m_pContentBuffer = new (std::nothrow) unsigned char[size];
    if (m_pContentBuffer == nullptr) {
        return logScope.m_errorCode = Error_OutOfMemory;
    }
    m_ulContentBufferSize = size;
    return 0;
}

unsigned long CHTTPClient::CopyDataToContentBuffer(const void* data, unsigned long count)
{
    QV_LOG_FUNCTION(g_pHTTPClientLibLog, L"QVIOStack::CHTTPClient::CopyDataToContentBuffer");
    const unsigned char* bytes = static_cast<const unsigned char*>(data);
    if (ContentBuffer* callers = CallersContentBuffer()) {
        // A full buffer is reported even when all the data fitted; a callback
        // that consumes the data sets the count used back.
        unsigned long status = callers->ulBufferUsed >= callers->ulBufferSize ? Error_ContentBufferFull : 0;
        if (status == 0 && count != 0 && callers->pBuffer == nullptr) {
            QV_LOG_ERROR(L"%s Error_Fail ContentBuffer->pBuffer is null", logScope.GetDisplayName());
            status = Error_Fail;
        }
        unsigned long copied = 0;
        while (status == 0 && copied < count) {
            const unsigned long piece = std::min(count - copied, callers->ulBufferSize - callers->ulBufferUsed);
            memcpy(callers->pBuffer + callers->ulBufferUsed, bytes + copied, piece);
            callers->ulBufferUsed += piece;
            copied += piece;
            if (!TellReadContent(callers)) {
                status = Error_Aborted;
            }
            if (callers->ulBufferUsed >= callers->ulBufferSize) {
                status = Error_ContentBufferFull;
            }
        }
        return logScope.m_errorCode = status;
    }

    if (m_pContentBuffer == nullptr) {
        QV_LOG_ERROR(L"%s Error_Fail m_pContentBuffer is null", logScope.GetDisplayName());
        return logScope.m_errorCode = Error_Fail;
    }
    const unsigned long room = m_ulContentBufferSize - m_ulContentBufferUsed;
    if (room < count) {
        const unsigned long growth = (count - room + kContentGrowth - 1) / kContentGrowth * kContentGrowth;
        if (!GrowContentBuffer(growth)) {
            return logScope.m_errorCode = Error_OutOfMemory;
        }
    }
    memcpy(m_pContentBuffer + m_ulContentBufferUsed, bytes, count);
    ContentBuffer added{m_pContentBuffer + m_ulContentBufferUsed, count, count};
    m_ulContentBufferUsed += count;
    return logScope.m_errorCode = TellReadContent(&added) ? 0 : Error_Aborted;
}

bool CHTTPClient::GrowContentBuffer(unsigned long extra)
{
    const unsigned long size = m_ulContentBufferSize + extra;
    if (size < m_ulContentBufferSize) {
        return false;
    }
    unsigned char* grown = new (std::nothrow) unsigned char[size];
    if (grown == nullptr) {
        return false;
    }
    memcpy(grown, m_pContentBuffer, m_ulContentBufferUsed);
    delete[] m_pContentBuffer;
    m_pContentBuffer = grown;
    m_ulContentBufferSize = size;
    return true;
}

ContentBuffer* CHTTPClient::CallersContentBuffer()
{
    return m_pNavigateParams ? m_pNavigateParams->GetContentBuffer() : nullptr;
}

bool CHTTPClient::TellReadContent(ContentBuffer* buffer)
{
    if (m_pNavigateParams == nullptr) {
        return true;
    }
    PFN_READ_CONTENT_CALLBACK callback = m_pNavigateParams->GetReadContentCallback();
    return callback == nullptr || callback(buffer, m_pNavigateParams->GetReadContentParam());
}

void CHTTPClient::FreeContentBuffer()
{
    delete[] m_pContentBuffer;
    m_pContentBuffer = nullptr;
    m_ulContentBufferSize = 0;
    m_ulContentBufferUsed = 0;
}

}  // namespace QVIOStack
