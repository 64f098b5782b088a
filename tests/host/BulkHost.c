/* A host written in C against the bulk functions' header and the import
   library: the calls of a thread without a channel, or with a port that
   names nothing, on this thread and on 32 threads at once. Prints each failed check; the exit code counts them. */
#include <stdio.h>
#include <string.h>

#include "orvane64_bulk.h"

static int g_failures;

#define CHECK(condition)                                                   \
    do {                                                                   \
        if (!(condition)) {                                                \
            printf("failed: %s (line %d)\n", #condition, __LINE__);      \
            ++g_failures;                                                  \
        }                                                                  \
    } while (0)

/* The calls that need no channel, with the values they must give. */
static int NoChannelCalls(void)
{
    int failures = 0;
    unsigned char buffer[16];
    unsigned long size = sizeof(buffer);
    HANDLE event = CreateEventW(NULL, TRUE, FALSE, NULL);
    failures += ReadBulk(buffer, &size) != 0;
    failures += size != sizeof(buffer);
    size = 5;
    failures += WriteBulk("hello", &size) != 0;
    failures += size != 5;
    failures += BytesAvailable() != 0;
    failures += FlushBulk() != 0;
    failures += GetLastStatus() != 0;
    failures += GetTimeout() != 0;
    SetTimeout(5000);
    SetOpenTimeout(5000);
    failures += GetTimeout() != 0;
    failures += WaitForInterrupt() != 0;
    failures += WaitForInterruptEvent(event) != 0;
    failures += WaitForSingleObject(event, 0) != WAIT_TIMEOUT;
    failures += CancelInterrupt() != 0;
    failures += CloseInterrupt() != 1;
    failures += CloseBulk() != 1;
    failures += CloseBulk() != 1;
    /* No such port: no address, no channel. */
    failures += OpenBulk("NOSUCHPORT") != 0;
    failures += IsConnected("NOSUCHPORT") != 0;
    size = sizeof(buffer);
    failures += ReadBulk(buffer, &size) != 0;
    failures += size != sizeof(buffer);
    failures += CloseBulk() != 1;
    /* No component library beside this program. */
    failures += ExclusiveBulkLock(NULL, NULL, 0) != 1;
    failures += ExclusiveBulkUnlock(NULL, NULL) != 1;
    CloseHandle(event);
    return failures;
}

static DWORD WINAPI Worker(void* result)
{
    *(int*)result = NoChannelCalls();
    return 0;
}

int main(void)
{
    enum { kThreads = 32 };
    HANDLE threads[kThreads];
    int results[kThreads];
    unsigned char buffer[4] = {1, 2, 3, 4};
    unsigned long size = 4;
    int i;

    CHECK(ReadBulk(buffer, &size) == 0);
    CHECK(size == 4);
    CHECK(buffer[0] == 1 && buffer[3] == 4);
    CHECK(CloseBulk() == 1);
    CHECK(NoChannelCalls() == 0);

    for (i = 0; i < kThreads; ++i) {
        results[i] = -1;
        threads[i] = CreateThread(NULL, 0, Worker, &results[i], 0, NULL);
        CHECK(threads[i] != NULL);
    }
    CHECK(WaitForMultipleObjects(kThreads, threads, TRUE, 20000) == WAIT_OBJECT_0);
    for (i = 0; i < kThreads; ++i) {
        CHECK(results[i] == 0);
        CloseHandle(threads[i]);
    }
    printf("%d failed checks\n", g_failures);
    return g_failures;
}
