/* The smallest handler of a relay: one byte on the connection behind "-u". */

#include <stdlib.h>
#include <string.h>
#include <unistd.h>

int main(int argc, char **argv)
{
    for (int i = 1; i + 1 < argc; ++i)
        if (strcmp(argv[i], "-u") == 0) return write(atoi(argv[i + 1]), "x", 1) != 1;
    return 1;
}
