/* A virtual USB printer for tests: one device object per function behind the
   device paths a program gives it, and a control device through which that
   program plays the device. Every read, write and control request a host
   makes is queued and handed to the control side, which answers it; nothing is decided here.
   Buffered I/O throughout. A test device, not a product driver. */
#include <ntddk.h>

#include "../UsbPrinterControl.h"

typedef struct FUNCTION_STATE {
    PDEVICE_OBJECT device; /* made at each plug, deleted at the unplug */
    BOOLEAN present;
    ULONG generation; /* of the current plug; a handle remembers its own */
    UNICODE_STRING link;
    WCHAR linkBuffer[USBPRINTER_MAX_LINK + 8];
} FUNCTION_STATE;

/* A device object's extension: the control device, or a function. */
typedef struct DEVICE_ROLE {
    BOOLEAN control;
    ULONG function;
} DEVICE_ROLE;

static KSPIN_LOCK g_lock;
static LIST_ENTRY g_fresh; /* host requests not yet handed over */
static LIST_ENTRY g_taken; /* handed over, waiting for their answer */
static PIRP g_exchange;    /* the control side's waiting exchange */
static ULONG g_nextId;
static BOOLEAN g_attached;
static PDEVICE_OBJECT g_control;
static FUNCTION_STATE g_functions[USBPRINTER_FUNCTION_COUNT];
static PDRIVER_OBJECT g_driver;

#define IRP_ENTRY(irp) (&(irp)->Tail.Overlay.ListEntry)
#define IRP_ID(irp) ((ULONG)(ULONG_PTR)(irp)->Tail.Overlay.DriverContext[0])
#define IRP_FUNCTION(irp) ((ULONG)(ULONG_PTR)(irp)->Tail.Overlay.DriverContext[1])
#define IRP_FROM_ENTRY(entry) CONTAINING_RECORD(entry, IRP, Tail.Overlay.ListEntry)

static NTSTATUS Finish(PIRP irp, NTSTATUS status, ULONG_PTR information)
{
    irp->IoStatus.Status = status;
    irp->IoStatus.Information = information;
    IoCompleteRequest(irp, IO_NO_INCREMENT);
    return status;
}

/* Cancelling removes the request from whichever list holds it; the lists
   re-initialise an entry they give up, so removing it twice is harmless. */
static VOID CancelRequest(PDEVICE_OBJECT device, PIRP irp)
{
    KIRQL irql;
    UNREFERENCED_PARAMETER(device);
    IoReleaseCancelSpinLock(irp->CancelIrql);
    KeAcquireSpinLock(&g_lock, &irql);
    RemoveEntryList(IRP_ENTRY(irp));
    InitializeListHead(IRP_ENTRY(irp));
    if (g_exchange == irp) {
        g_exchange = NULL;
    }
    KeReleaseSpinLock(&g_lock, irql);
    Finish(irp, STATUS_CANCELLED, 0);
}

/* With the lock held: makes a request cancellable and pending. FALSE when it
   was cancelled already; the caller then completes it. */
static BOOLEAN Hold(PIRP irp)
{
    IoSetCancelRoutine(irp, CancelRequest);
    if (irp->Cancel && IoSetCancelRoutine(irp, NULL) != NULL) {
        return FALSE;
    }
    IoMarkIrpPending(irp);
    InitializeListHead(IRP_ENTRY(irp));
    return TRUE;
}

/* With the lock held: takes a held request back for completion. FALSE when
   its cancel routine runs already and completes it. */
static BOOLEAN Release(PIRP irp)
{
    RemoveEntryList(IRP_ENTRY(irp));
    InitializeListHead(IRP_ENTRY(irp));
    return IoSetCancelRoutine(irp, NULL) != NULL;
}

/* With the lock held: moves the host requests that `match` picks from both
   lists into `out`, to be failed once the lock is given up. */
static VOID TakeAll(PLIST_ENTRY out, BOOLEAN (*match)(PIRP, ULONG_PTR), ULONG_PTR what)
{
    PLIST_ENTRY lists[2] = {&g_fresh, &g_taken};
    int i;
    for (i = 0; i < 2; ++i) {
        PLIST_ENTRY entry = lists[i]->Flink;
        while (entry != lists[i]) {
            PIRP irp = IRP_FROM_ENTRY(entry);
            entry = entry->Flink;
            if (match(irp, what) && Release(irp)) {
                InsertTailList(out, IRP_ENTRY(irp));
            }
        }
    }
}

static VOID FailAll(PLIST_ENTRY list, NTSTATUS status)
{
    while (!IsListEmpty(list)) {
        Finish(IRP_FROM_ENTRY(RemoveHeadList(list)), status, 0);
    }
}

static BOOLEAN OfFunction(PIRP irp, ULONG_PTR function) { return IRP_FUNCTION(irp) == function; }
static BOOLEAN OfFile(PIRP irp, ULONG_PTR file)
{
    return (ULONG_PTR)IoGetCurrentIrpStackLocation(irp)->FileObject == file;
}
static BOOLEAN Any(PIRP irp, ULONG_PTR unused)
{
    UNREFERENCED_PARAMETER(irp);
    UNREFERENCED_PARAMETER(unused);
    return TRUE;
}

/* The length a host's read or control request asks for. */
static ULONG AnswerLength(PIO_STACK_LOCATION stack)
{
    return stack->MajorFunction == IRP_MJ_READ ? stack->Parameters.Read.Length
                                               : stack->Parameters.DeviceIoControl.OutputBufferLength;
}

/* With the lock held: hands the oldest host request to the waiting exchange.
   Returns the exchange to complete once the lock is given up, or NULL. */
static PIRP HandOver(void)
{
    PIRP exchange = g_exchange;
    PIRP host;
    PIO_STACK_LOCATION hostStack;
    USBPRINTER_REQUEST* request;
    ULONG capacity;
    ULONG carried = 0;

    if (exchange == NULL || IsListEmpty(&g_fresh) || IoSetCancelRoutine(exchange, NULL) == NULL) {
        return NULL;
    }
    g_exchange = NULL;
    host = IRP_FROM_ENTRY(RemoveHeadList(&g_fresh));
    InsertTailList(&g_taken, IRP_ENTRY(host));

    hostStack = IoGetCurrentIrpStackLocation(host);
    capacity = IoGetCurrentIrpStackLocation(exchange)->Parameters.DeviceIoControl.OutputBufferLength -
               sizeof(USBPRINTER_REQUEST);
    request = (USBPRINTER_REQUEST*)exchange->AssociatedIrp.SystemBuffer;
    request->id = IRP_ID(host);
    request->function = IRP_FUNCTION(host);
    if (hostStack->MajorFunction == IRP_MJ_WRITE) {
        request->kind = USBPRINTER_REQUEST_WRITE;
        request->size = hostStack->Parameters.Write.Length;
        carried = min(request->size, capacity);
        RtlCopyMemory(request + 1, host->AssociatedIrp.SystemBuffer, carried);
    } else {
        request->kind = hostStack->MajorFunction == IRP_MJ_READ ? USBPRINTER_REQUEST_READ : USBPRINTER_REQUEST_CONTROL;
        request->size = AnswerLength(hostStack);
    }
    request->carried = carried;
    exchange->IoStatus.Status = STATUS_SUCCESS;
    exchange->IoStatus.Information = sizeof(USBPRINTER_REQUEST) + carried;
    return exchange;
}

static NTSTATUS HostTransfer(ULONG function, PIRP irp)
{
    PIO_STACK_LOCATION stack = IoGetCurrentIrpStackLocation(irp);
    FUNCTION_STATE* state = &g_functions[function];
    PIRP exchange;
    KIRQL irql;

    KeAcquireSpinLock(&g_lock, &irql);
    if (!state->present || (ULONG_PTR)stack->FileObject->FsContext != state->generation) {
        KeReleaseSpinLock(&g_lock, irql);
        return Finish(irp, STATUS_DEVICE_NOT_CONNECTED, 0);
    }
    if (!Hold(irp)) {
        KeReleaseSpinLock(&g_lock, irql);
        return Finish(irp, STATUS_CANCELLED, 0);
    }
    irp->Tail.Overlay.DriverContext[0] = (PVOID)(ULONG_PTR)++g_nextId;
    irp->Tail.Overlay.DriverContext[1] = (PVOID)(ULONG_PTR)function;
    InsertTailList(&g_fresh, IRP_ENTRY(irp));
    exchange = HandOver();
    KeReleaseSpinLock(&g_lock, irql);
    if (exchange != NULL) {
        IoCompleteRequest(exchange, IO_NO_INCREMENT);
    }
    return STATUS_PENDING;
}

/* With the lock held: finds the answered request and fills it in. Returns it
   for completion once the lock is given up, or NULL. */
static PIRP Answer(const USBPRINTER_ANSWER* answer, ULONG length)
{
    PLIST_ENTRY entry;
    for (entry = g_taken.Flink; entry != &g_taken; entry = entry->Flink) {
        PIRP host = IRP_FROM_ENTRY(entry);
        PIO_STACK_LOCATION stack;
        ULONG count;
        if (IRP_ID(host) != answer->id) {
            continue;
        }
        if (!Release(host)) {
            return NULL;
        }
        stack = IoGetCurrentIrpStackLocation(host);
        if (stack->MajorFunction == IRP_MJ_WRITE) {
            count = min(answer->count, stack->Parameters.Write.Length);
        } else {
            count = min(min(answer->count, AnswerLength(stack)), length - sizeof(*answer));
            RtlCopyMemory(host->AssociatedIrp.SystemBuffer, answer + 1, count);
        }
        host->IoStatus.Status = answer->status;
        host->IoStatus.Information = answer->status == 0 ? count : 0;
        return host;
    }
    return NULL;
}

static NTSTATUS Exchange(PIRP irp)
{
    PIO_STACK_LOCATION stack = IoGetCurrentIrpStackLocation(irp);
    ULONG inLength = stack->Parameters.DeviceIoControl.InputBufferLength;
    PIRP answered = NULL;
    PIRP handed = NULL;
    NTSTATUS status = STATUS_PENDING;
    KIRQL irql;

    if (inLength < sizeof(USBPRINTER_ANSWER) ||
        stack->Parameters.DeviceIoControl.OutputBufferLength < sizeof(USBPRINTER_REQUEST)) {
        return Finish(irp, STATUS_INVALID_PARAMETER, 0);
    }
    KeAcquireSpinLock(&g_lock, &irql);
    if (((USBPRINTER_ANSWER*)irp->AssociatedIrp.SystemBuffer)->id != 0) {
        answered = Answer((USBPRINTER_ANSWER*)irp->AssociatedIrp.SystemBuffer, inLength);
    }
    if (g_exchange != NULL) {
        status = STATUS_DEVICE_BUSY;
    } else if (!Hold(irp)) {
        status = STATUS_CANCELLED;
    } else {
        g_exchange = irp;
        handed = HandOver();
    }
    KeReleaseSpinLock(&g_lock, irql);
    if (answered != NULL) {
        IoCompleteRequest(answered, IO_NO_INCREMENT);
    }
    if (handed != NULL) {
        IoCompleteRequest(handed, IO_NO_INCREMENT);
    }
    return status == STATUS_PENDING ? status : Finish(irp, status, 0);
}

static NTSTATUS AnswerOnly(PIRP irp)
{
    ULONG inLength = IoGetCurrentIrpStackLocation(irp)->Parameters.DeviceIoControl.InputBufferLength;
    PIRP answered;
    KIRQL irql;
    if (inLength < sizeof(USBPRINTER_ANSWER)) {
        return Finish(irp, STATUS_INVALID_PARAMETER, 0);
    }
    KeAcquireSpinLock(&g_lock, &irql);
    answered = Answer((USBPRINTER_ANSWER*)irp->AssociatedIrp.SystemBuffer, inLength);
    KeReleaseSpinLock(&g_lock, irql);
    if (answered == NULL) {
        return Finish(irp, STATUS_NOT_FOUND, 0);
    }
    IoCompleteRequest(answered, IO_NO_INCREMENT);
    return Finish(irp, STATUS_SUCCESS, 0);
}

/* The path goes, and the device object with it: a handle opened before
   finds no device behind it any more, as after a pulled cable. */
static VOID RemoveFunction(FUNCTION_STATE* state)
{
    if (state->link.Length != 0) {
        IoDeleteSymbolicLink(&state->link);
        state->link.Length = 0;
    }
    if (state->device != NULL) {
        IoDeleteDevice(state->device);
        state->device = NULL;
    }
}

static NTSTATUS MakeDevice(PDRIVER_OBJECT driver, PUNICODE_STRING name, BOOLEAN control, ULONG function,
                           PDEVICE_OBJECT* out);

static NTSTATUS Unplug(ULONG function)
{
    LIST_ENTRY failed;
    KIRQL irql;
    InitializeListHead(&failed);
    KeAcquireSpinLock(&g_lock, &irql);
    g_functions[function].present = FALSE;
    TakeAll(&failed, OfFunction, function);
    KeReleaseSpinLock(&g_lock, irql);
    FailAll(&failed, STATUS_DEVICE_NOT_CONNECTED);
    RemoveFunction(&g_functions[function]);
    return STATUS_SUCCESS;
}

static NTSTATUS Plug(const USBPRINTER_PLUG* plug)
{
    FUNCTION_STATE* state = &g_functions[plug->function];
    WCHAR nameBuffer[64];
    WCHAR numberBuffer[16];
    UNICODE_STRING name = {0, sizeof(nameBuffer), nameBuffer};
    UNICODE_STRING number = {0, sizeof(numberBuffer), numberBuffer};
    PDEVICE_OBJECT device;
    NTSTATUS status;
    KIRQL irql;

    Unplug(plug->function);
    /* A new name each time: the object of the last plug lives on while
       handles to it are open. */
    RtlAppendUnicodeToString(&name, L"\\Device\\OrvaneUsbFunction");
    RtlIntegerToUnicodeString(plug->function * 100000 + state->generation + 1, 10, &number);
    RtlAppendUnicodeStringToString(&name, &number);
    status = MakeDevice(g_driver, &name, FALSE, plug->function, &device);
    if (!NT_SUCCESS(status)) {
        return status;
    }
    state->device = device;
    state->link.Buffer = state->linkBuffer;
    state->link.MaximumLength = sizeof(state->linkBuffer);
    state->link.Length = 0;
    RtlAppendUnicodeToString(&state->link, L"\\??\\");
    status = RtlAppendUnicodeToString(&state->link, plug->link);
    if (NT_SUCCESS(status)) {
        status = IoCreateSymbolicLink(&state->link, &name);
    }
    if (!NT_SUCCESS(status)) {
        state->link.Length = 0;
        RemoveFunction(state);
        return status;
    }
    KeAcquireSpinLock(&g_lock, &irql);
    ++state->generation;
    state->present = TRUE;
    KeReleaseSpinLock(&g_lock, irql);
    return STATUS_SUCCESS;
}

static NTSTATUS ControlRequest(PIRP irp)
{
    PIO_STACK_LOCATION stack = IoGetCurrentIrpStackLocation(irp);
    ULONG inLength = stack->Parameters.DeviceIoControl.InputBufferLength;
    const void* in = irp->AssociatedIrp.SystemBuffer;

    switch (stack->Parameters.DeviceIoControl.IoControlCode) {
    case IOCTL_USBPRINTER_EXCHANGE:
        return Exchange(irp);
    case IOCTL_USBPRINTER_ANSWER:
        return AnswerOnly(irp);
    case IOCTL_USBPRINTER_PLUG:
        if (inLength < sizeof(USBPRINTER_PLUG) || ((const USBPRINTER_PLUG*)in)->function >= USBPRINTER_FUNCTION_COUNT) {
            return Finish(irp, STATUS_INVALID_PARAMETER, 0);
        }
        ((USBPRINTER_PLUG*)irp->AssociatedIrp.SystemBuffer)->link[USBPRINTER_MAX_LINK] = 0;
        return Finish(irp, Plug((const USBPRINTER_PLUG*)in), 0);
    case IOCTL_USBPRINTER_UNPLUG:
        if (inLength < sizeof(USBPRINTER_UNPLUG) || ((const USBPRINTER_UNPLUG*)in)->function >= USBPRINTER_FUNCTION_COUNT) {
            return Finish(irp, STATUS_INVALID_PARAMETER, 0);
        }
        return Finish(irp, Unplug(((const USBPRINTER_UNPLUG*)in)->function), 0);
    default:
        return Finish(irp, STATUS_INVALID_DEVICE_REQUEST, 0);
    }
}

static NTSTATUS Create(PDEVICE_OBJECT device, PIRP irp)
{
    DEVICE_ROLE* role = (DEVICE_ROLE*)device->DeviceExtension;
    NTSTATUS status = STATUS_SUCCESS;
    KIRQL irql;
    KeAcquireSpinLock(&g_lock, &irql);
    if (role->control) {
        /* One program plays the device at a time. */
        status = g_attached ? STATUS_SHARING_VIOLATION : STATUS_SUCCESS;
        g_attached = TRUE;
    } else if (!g_functions[role->function].present) {
        status = STATUS_NO_SUCH_DEVICE;
    } else {
        IoGetCurrentIrpStackLocation(irp)->FileObject->FsContext =
            (PVOID)(ULONG_PTR)g_functions[role->function].generation;
    }
    KeReleaseSpinLock(&g_lock, irql);
    return Finish(irp, status, 0);
}

/* The last handle of a file goes: its waiting requests end. When the control
   side goes, the device goes with it, as if unplugged. */
static NTSTATUS Cleanup(PDEVICE_OBJECT device, PIRP irp)
{
    DEVICE_ROLE* role = (DEVICE_ROLE*)device->DeviceExtension;
    PFILE_OBJECT file = IoGetCurrentIrpStackLocation(irp)->FileObject;
    LIST_ENTRY failed;
    PIRP exchange = NULL;
    KIRQL irql;
    ULONG i;

    InitializeListHead(&failed);
    KeAcquireSpinLock(&g_lock, &irql);
    if (role->control) {
        if (g_exchange != NULL && IoSetCancelRoutine(g_exchange, NULL) != NULL) {
            exchange = g_exchange;
        }
        g_exchange = NULL;
        g_attached = FALSE;
        for (i = 0; i < USBPRINTER_FUNCTION_COUNT; ++i) {
            g_functions[i].present = FALSE;
        }
        TakeAll(&failed, Any, 0);
    } else {
        TakeAll(&failed, OfFile, (ULONG_PTR)file);
    }
    KeReleaseSpinLock(&g_lock, irql);
    if (exchange != NULL) {
        Finish(exchange, STATUS_CANCELLED, 0);
    }
    FailAll(&failed, role->control ? STATUS_DEVICE_NOT_CONNECTED : STATUS_CANCELLED);
    if (role->control) {
        for (i = 0; i < USBPRINTER_FUNCTION_COUNT; ++i) {
            RemoveFunction(&g_functions[i]);
        }
    }
    return Finish(irp, STATUS_SUCCESS, 0);
}

static NTSTATUS Close(PDEVICE_OBJECT device, PIRP irp)
{
    UNREFERENCED_PARAMETER(device);
    return Finish(irp, STATUS_SUCCESS, 0);
}

static NTSTATUS ReadWrite(PDEVICE_OBJECT device, PIRP irp)
{
    DEVICE_ROLE* role = (DEVICE_ROLE*)device->DeviceExtension;
    if (role->control) {
        return Finish(irp, STATUS_INVALID_DEVICE_REQUEST, 0);
    }
    return HostTransfer(role->function, irp);
}

/* A function takes one request of its own: the host's control request on
   the configuration function, answered by the control side like a read. */
static NTSTATUS DeviceControl(PDEVICE_OBJECT device, PIRP irp)
{
    DEVICE_ROLE* role = (DEVICE_ROLE*)device->DeviceExtension;
    PIO_STACK_LOCATION stack = IoGetCurrentIrpStackLocation(irp);
    if (role->control) {
        return ControlRequest(irp);
    }
    if (role->function != USBPRINTER_FUNCTION_CONFIG ||
        stack->Parameters.DeviceIoControl.IoControlCode != USBPRINTER_HOST_CONTROL_CODE) {
        return Finish(irp, STATUS_INVALID_DEVICE_REQUEST, 0);
    }
    if (stack->Parameters.DeviceIoControl.OutputBufferLength == 0) {
        return Finish(irp, STATUS_BUFFER_TOO_SMALL, 0);
    }
    return HostTransfer(role->function, irp);
}

static VOID Unload(PDRIVER_OBJECT driver)
{
    UNICODE_STRING link;
    ULONG i;
    for (i = 0; i < USBPRINTER_FUNCTION_COUNT; ++i) {
        RemoveFunction(&g_functions[i]);
    }
    RtlInitUnicodeString(&link, L"\\??\\OrvaneUsbPrinterControl");
    IoDeleteSymbolicLink(&link);
    while (driver->DeviceObject != NULL) {
        IoDeleteDevice(driver->DeviceObject);
    }
}

static NTSTATUS MakeDevice(PDRIVER_OBJECT driver, PUNICODE_STRING name, BOOLEAN control, ULONG function,
                           PDEVICE_OBJECT* out)
{
    DEVICE_ROLE* role;
    NTSTATUS status = IoCreateDevice(driver, sizeof(DEVICE_ROLE), name, FILE_DEVICE_UNKNOWN, 0, FALSE, out);
    if (!NT_SUCCESS(status)) {
        return status;
    }
    role = (DEVICE_ROLE*)(*out)->DeviceExtension;
    role->control = control;
    role->function = function;
    (*out)->Flags |= DO_BUFFERED_IO;
    (*out)->Flags &= ~DO_DEVICE_INITIALIZING;
    return STATUS_SUCCESS;
}

NTSTATUS NTAPI DriverEntry(PDRIVER_OBJECT driver, PUNICODE_STRING registryPath)
{
    UNICODE_STRING link, target;
    NTSTATUS status;
    UNREFERENCED_PARAMETER(registryPath);

    g_driver = driver;
    KeInitializeSpinLock(&g_lock);
    InitializeListHead(&g_fresh);
    InitializeListHead(&g_taken);
    driver->MajorFunction[IRP_MJ_CREATE] = Create;
    driver->MajorFunction[IRP_MJ_CLEANUP] = Cleanup;
    driver->MajorFunction[IRP_MJ_CLOSE] = Close;
    driver->MajorFunction[IRP_MJ_READ] = ReadWrite;
    driver->MajorFunction[IRP_MJ_WRITE] = ReadWrite;
    driver->MajorFunction[IRP_MJ_DEVICE_CONTROL] = DeviceControl;
    driver->DriverUnload = Unload;

    RtlInitUnicodeString(&target, L"\\Device\\OrvaneUsbPrinterControl");
    status = MakeDevice(driver, &target, TRUE, 0, &g_control);
    if (NT_SUCCESS(status)) {
        RtlInitUnicodeString(&link, L"\\??\\OrvaneUsbPrinterControl");
        status = IoCreateSymbolicLink(&link, &target);
    }
    if (!NT_SUCCESS(status)) {
        Unload(driver);
    }
    return status;
}
