/* orvane64: the bulk functions, for hosts in C or any language with a
   foreign function interface.

   Each thread has one channel of its own, opened by port name and used by
   every call of that thread; no handle is passed. A channel stays open until
   CloseBulk (or CloseInterrupt) on the same thread. Truth values are bytes:
   non-zero is true. A false result has no reason to read: GetLastStatus
   always gives 0, and reasons go to the library's log.

   Reads wait up to the read timeout (1000 ms on a new channel), writes up to
   3000 ms, and an open up to 18000 ms. */
#ifndef ORVANE64_BULK_H
#define ORVANE64_BULK_H

#include <windows.h>

#if defined(ORVANE_EXPORTS)
#define ORVANE_BULK_API
#else
#define ORVANE_BULK_API __declspec(dllimport)
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* Opens the thread's channel to the device behind a print port name
   (UTF-8), for example "USB001" or "IP_192.0.2.7". On a thread whose channel
   is open it closes that channel and returns false; the next call opens. */
ORVANE_BULK_API unsigned char WINAPI OpenBulk(const char* port);
/* Writes *size bytes; *size becomes the count written, 0 after a failure. */
ORVANE_BULK_API unsigned char WINAPI WriteBulk(const void* buffer, unsigned long* size);
/* Reads up to *size bytes; *size becomes the count read, 0 after a failure.
   With no open channel *size is left as it was. */
ORVANE_BULK_API unsigned char WINAPI ReadBulk(void* buffer, unsigned long* size);
/* Bytes the device has ready, waiting for them at most about 200 ms. */
ORVANE_BULK_API unsigned long WINAPI BytesAvailable(void);
/* Discards what the device has pending (at most 61440 bytes); true if
   anything was discarded. */
ORVANE_BULK_API unsigned char WINAPI FlushBulk(void);
/* Closes the thread's channel; always true. */
ORVANE_BULK_API unsigned char WINAPI CloseBulk(void);
/* Always 0. */
ORVANE_BULK_API unsigned long WINAPI GetLastStatus(void);
/* The read timeout in ms; 0 with no open channel. */
ORVANE_BULK_API unsigned long WINAPI GetTimeout(void);
/* The read and the open timeout of the open channel; no effect without one. */
ORVANE_BULK_API void WINAPI SetTimeout(unsigned long ms);
ORVANE_BULK_API void WINAPI SetOpenTimeout(unsigned long ms);
/* Opens the thread's channel for interrupts: true if the device behind
   the port can report them. */
ORVANE_BULK_API unsigned char WINAPI OpenInterrupt(const char* port);
/* Waits, without a time limit, for the device's next interrupt. */
ORVANE_BULK_API unsigned char WINAPI WaitForInterrupt(void);
/* Sets `event` at the device's next interrupt, and returns at once. */
ORVANE_BULK_API unsigned char WINAPI WaitForInterruptEvent(HANDLE event);
/* Stops waiting for an interrupt; true if a wait was stopped. */
ORVANE_BULK_API unsigned char WINAPI CancelInterrupt(void);
/* Closes the interrupt side and the channel; always true. */
ORVANE_BULK_API unsigned char WINAPI CloseInterrupt(void);
/* Whether the device behind the port is connected; no channel is used. */
ORVANE_BULK_API unsigned char WINAPI IsConnected(const char* port);
/* The component library's exclusive lock of the bulk channel; the
   arguments are the library's own, passed through. True when no component
   library is on the machine. */
ORVANE_BULK_API unsigned char WINAPI ExclusiveBulkLock(void* a, void* b, unsigned long c);
ORVANE_BULK_API unsigned char WINAPI ExclusiveBulkUnlock(void* a, void* b);

#ifdef __cplusplus
}
#endif

#endif /* ORVANE64_BULK_H */
