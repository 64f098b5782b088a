/* The virtual USB printer's control device: what the driver and the program
   that plays the device say to each other. Shared by C (the driver) and C++. */
#pragma once

#ifndef CTL_CODE
#include <winioctl.h>
#endif

#define USBPRINTER_CONTROL_PATH L"\\\\.\\OrvaneUsbPrinterControl"
#define USBPRINTER_SERVICE_NAME L"OrvaneUsbPrinter"

/* The functions of the one device: one device object each. */
#define USBPRINTER_FUNCTION_PRINT 0
#define USBPRINTER_FUNCTION_CONFIG 1
#define USBPRINTER_FUNCTION_SCAN 2
#define USBPRINTER_FUNCTION_COUNT 3

/* Host requests handed to the control side. */
#define USBPRINTER_REQUEST_WRITE 1
#define USBPRINTER_REQUEST_READ 2
#define USBPRINTER_REQUEST_CONTROL 3

/* The host's control request on the configuration function: it asks the
   device whether it has an interrupt to report, and waits for the answer.
   No input; the answer goes to the output buffer (8 bytes, usually). */
#define USBPRINTER_HOST_CONTROL_CODE 0x80002008

/* Plug: put a function behind a device path ("usb#vid_...#{guid}", the part
   after "\\?\"); a handle opened before is not served again. Unplug: remove
   the path and fail the function's requests as a pulled cable does. */
#define IOCTL_USBPRINTER_PLUG CTL_CODE(FILE_DEVICE_UNKNOWN, 0x901, METHOD_BUFFERED, FILE_ANY_ACCESS)
#define IOCTL_USBPRINTER_UNPLUG CTL_CODE(FILE_DEVICE_UNKNOWN, 0x902, METHOD_BUFFERED, FILE_ANY_ACCESS)
/* Exchange: answers one request (an id of 0 answers none) and waits for the
   next. In: USBPRINTER_ANSWER and a read's data. Out: USBPRINTER_REQUEST and
   a write's data. */
#define IOCTL_USBPRINTER_EXCHANGE CTL_CODE(FILE_DEVICE_UNKNOWN, 0x903, METHOD_BUFFERED, FILE_ANY_ACCESS)
/* Answer: answers one request held back, while an exchange waits. */
#define IOCTL_USBPRINTER_ANSWER CTL_CODE(FILE_DEVICE_UNKNOWN, 0x904, METHOD_BUFFERED, FILE_ANY_ACCESS)

#define USBPRINTER_MAX_LINK 255

typedef struct USBPRINTER_PLUG {
    unsigned long function;
    wchar_t link[USBPRINTER_MAX_LINK + 1];
} USBPRINTER_PLUG;

typedef struct USBPRINTER_UNPLUG {
    unsigned long function;
} USBPRINTER_UNPLUG;

typedef struct USBPRINTER_ANSWER {
    unsigned long id;
    long status;          /* 0, or the status the request fails with */
    unsigned long count;  /* bytes written, or bytes of read or control data that follow */
} USBPRINTER_ANSWER;

typedef struct USBPRINTER_REQUEST {
    unsigned long id;
    unsigned long function;
    unsigned long kind;
    unsigned long size;     /* the host's request length */
    unsigned long carried;  /* a write's bytes that follow */
} USBPRINTER_REQUEST;
