/* The bulk functions from C: this thread's channel to the device behind a
   print port, here a network printer, whose channel goes to its web port
   (80). A request goes out, the first line of the answer comes back.

     bulk-status IP_192.0.2.7 */
#include <stdio.h>
#include <string.h>

#include "orvane64_bulk.h"

int main(int argc, char** argv)
{
    static const char request[] = "GET /status HTTP/1.0\r\n\r\n";
    char reply[2048];
    unsigned long size;
    char* end;

    if (argc != 2) {
        fprintf(stderr, "usage: bulk-status PORT-NAME\n");
        return 2;
    }
    /* The port's name in UTF-8. False if nothing usable stands behind it;
       the reason is in the log, not in GetLastStatus. */
    if (!OpenBulk(argv[1])) {
        fprintf(stderr, "no channel to %s\n", argv[1]);
        return 1;
    }
    SetTimeout(5000); /* reads wait up to 5 s instead of 1 s */

    size = (unsigned long)strlen(request);
    if (!WriteBulk(request, &size)) { /* size becomes the count written */
        fprintf(stderr, "write failed\n");
        CloseBulk();
        return 1;
    }
    size = sizeof(reply) - 1;
    if (!ReadBulk(reply, &size)) { /* size becomes the count read */
        fprintf(stderr, "no answer within %lu ms\n", GetTimeout());
        CloseBulk();
        return 1;
    }
    reply[size] = '\0';
    end = strstr(reply, "\r\n");
    if (end != NULL) {
        *end = '\0';
    }
    printf("%s answered: %s\n", argv[1], reply);
    CloseBulk(); /* always true; frees this thread's channel */
    return 0;
}
