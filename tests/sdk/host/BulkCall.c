/* One call of the bulk functions from C: ReadBulk on a thread without a
   channel answers false and leaves the size as it was. */
#include <stdio.h>

#include "orvane64_bulk.h"

void PrintBulkCall(void)
{
    unsigned char buffer[8];
    unsigned long size = sizeof(buffer);
    const unsigned char read = ReadBulk(buffer, &size);
    printf("bulk: ReadBulk without a channel: %u, size %lu\n", (unsigned)read, size);
}
