/* What both yardsticks read frames with. */

#include <stddef.h>
#include <unistd.h>

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
