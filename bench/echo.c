/* The least that any host can be: it sends every frame back as it came. What starting a process and two pipes cost. */

#include <stdint.h>
#include <string.h>
#include <unistd.h>

enum { maximumMessageBytes = 16384 };

static char buffer[maximumMessageBytes];

/* Returns 0 at the end of input. */
static int fill(char* bytes, size_t count)
{
    while (count > 0) {
        const ssize_t got = read(STDIN_FILENO, bytes, count);
        if (got <= 0)
            return 0;
        bytes += got;
        count -= (size_t)got;
    }
    return 1;
}

int main(void)
{
    uint32_t length = 0;
    while (fill((char*)&length, sizeof length) && length > 0 && length <= sizeof buffer && fill(buffer, length)) {
        if (write(STDOUT_FILENO, &length, sizeof length) < 0 || write(STDOUT_FILENO, buffer, length) < 0)
            break;
    }
    return 0;
}
