/* A C program linked through an import library in Visual C++'s format, made
   from the SDK's module definition alone: two bulk functions by their
   plain names. */
#include <stdio.h>

#include "orvane64_bulk.h"

int main(void)
{
    unsigned char buffer[3];
    unsigned long size = sizeof(buffer);
    const unsigned char read = ReadBulk(buffer, &size);
    printf("by definition: ReadBulk %u, size %lu, GetTimeout %lu\n", (unsigned)read, size, GetTimeout());
    return 0;
}
