/* The library loaded and unloaded at run time, its bulk functions found by
   their plain names. Its load takes a thread-local index for the bulk
   functions' slots (its runtime takes others of its own), and its unload
   gives that index back. The slots' index is the one under which a new
   thread finds a zeroed block of four pointers that CloseBulk takes away. */
#include <stdio.h>
#include <string.h>

#include <windows.h>

typedef unsigned char(WINAPI* CloseBulkFunction)(void);

enum { kProbe = 64, kMaxTaken = 16 };

static int g_failures;

#define CHECK(condition)                                                   \
    do {                                                                   \
        if (!(condition)) {                                                \
            printf("failed: %s (line %d)\n", #condition, __LINE__);      \
            ++g_failures;                                                  \
        }                                                                  \
    } while (0)

/* The lowest free indexes, each given back at once. */
static void FreeIndexes(DWORD* indexes)
{
    int i;
    for (i = 0; i < kProbe; ++i) {
        indexes[i] = TlsAlloc();
    }
    for (i = 0; i < kProbe; ++i) {
        TlsFree(indexes[i]);
    }
}

static int Contains(const DWORD* indexes, int count, DWORD index)
{
    int i;
    for (i = 0; i < count; ++i) {
        if (indexes[i] == index) {
            return 1;
        }
    }
    return 0;
}

struct SlotSearch {
    DWORD taken[kMaxTaken];
    int takenCount;
    CloseBulkFunction closeBulk;
    int found;       /* how many indexes behaved as the slots' index */
    DWORD index;
};

static DWORD WINAPI FindSlot(void* argument)
{
    struct SlotSearch* search = (struct SlotSearch*)argument;
    int zeroed[kMaxTaken];
    int i;
    for (i = 0; i < search->takenCount; ++i) {
        void** slot = (void**)TlsGetValue(search->taken[i]);
        zeroed[i] = slot != NULL && slot[0] == NULL && slot[1] == NULL && slot[2] == NULL && slot[3] == NULL;
    }
    search->closeBulk();
    for (i = 0; i < search->takenCount; ++i) {
        if (zeroed[i] && TlsGetValue(search->taken[i]) == NULL) {
            ++search->found;
            search->index = search->taken[i];
        }
    }
    return 0;
}

int main(void)
{
    const char* names[] = {"WriteBulk", "ReadBulk", "BytesAvailable", "FlushBulk", "CloseBulk",
                           "GetLastStatus", "GetTimeout", "SetTimeout", "SetOpenTimeout", "WaitForInterrupt",
                           "WaitForInterruptEvent", "CancelInterrupt", "CloseInterrupt", "OpenBulk", "OpenInterrupt",
                           "IsConnected", "ExclusiveBulkLock", "ExclusiveBulkUnlock"};
    DWORD before[kProbe];
    DWORD loaded[kProbe];
    DWORD after[kProbe];
    struct SlotSearch search;
    HMODULE library;
    HANDLE thread;
    size_t i;
    int round;

    for (round = 0; round < 3; ++round) {
        FreeIndexes(before);
        library = LoadLibraryW(L"orvane64.dll");
        CHECK(library != NULL);
        if (library == NULL) {
            break;
        }
        for (i = 0; i < sizeof(names) / sizeof(names[0]); ++i) {
            if (GetProcAddress(library, names[i]) == NULL) {
                printf("not exported by its plain name: %s\n", names[i]);
                ++g_failures;
            }
        }
        FreeIndexes(loaded);
        memset(&search, 0, sizeof(search));
        for (i = 0; i < kProbe && search.takenCount < kMaxTaken; ++i) {
            if (before[i] < loaded[0] || !Contains(loaded, kProbe, before[i])) {
                search.taken[search.takenCount++] = before[i];
            }
        }
        search.closeBulk = (CloseBulkFunction)(void (*)(void))GetProcAddress(library, "CloseBulk");
        if (search.closeBulk != NULL) {
            thread = CreateThread(NULL, 0, FindSlot, &search, 0, NULL);
            CHECK(WaitForSingleObject(thread, 10000) == WAIT_OBJECT_0);
            CloseHandle(thread);
        }
        CHECK(search.found == 1);
        CHECK(FreeLibrary(library));
        CHECK(GetModuleHandleW(L"orvane64.dll") == NULL);
        FreeIndexes(after);
        if (search.found == 1 && !Contains(after, kProbe, search.index)) {
            printf("the slots' index %lu was not given back at the unload\n", search.index);
            ++g_failures;
        }
    }
    printf("%d failed checks\n", g_failures);
    return g_failures;
}
