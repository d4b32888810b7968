/* A child for tests: shows what it was given, and behaves as it is told.
 *
 *     test_child args ...       its arguments, one a line, in brackets
 *     test_child exit N         ends with that status
 *     test_child signal N       ends by that signal
 *     test_child copy           standard input to standard output
 *     test_child shut           closes its standard input and output, then waits for a moment
 *     test_child flood N        N bytes to each of its outputs, in turns
 *     test_child say OUT ERR    one word to each output
 *     test_child streams FILE   what works on 0, 1 and 2, and which descriptors are open, into a file
 *     test_child session        "own" when it leads a session, else "caller's"
 *     test_child serve ...      answers one line on the socket behind its last -u: its arguments, then that line
 */

#include <dirent.h>
#include <errno.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

static int copy(void)
{
    char block[65536];
    ssize_t count;
    while ((count = read(0, block, sizeof block)) > 0)
        for (ssize_t done = 0; done < count;) {
            const ssize_t now = write(1, block + done, (size_t)(count - done));
            if (now <= 0) return 1;
            done += now;
        }
    return count != 0;
}

static int flood(long size)
{
    char block[1000];
    memset(block, 'x', sizeof block);
    for (long done = 0; done < size; done += (long)sizeof block)
        if (write(1, block, sizeof block) < 0 || write(2, block, sizeof block) < 0) return 1;
    return 0;
}

static int streams(const char *path)
{
    char byte = 'c';
    FILE *const out = fopen(path, "w");
    if (out == NULL) return 1;
    fprintf(out, "read %d\n", (int)read(0, &byte, 1));
    fprintf(out, "write %d %d\n", (int)write(1, "o", 1), (int)write(2, "e", 1));
    DIR *const list = opendir("/proc/self/fd");
    for (struct dirent *entry; (entry = readdir(list)) != NULL;) {
        const int number = atoi(entry->d_name);
        if (entry->d_name[0] != '.' && number != dirfd(list) && number != fileno(out))
            fprintf(out, "open %d\n", number);
    }
    closedir(list);
    return fclose(out) != 0;
}

static int serve(int argc, char **argv)
{
    int number = -1;
    for (int i = 1; i + 1 < argc; ++i)
        if (strcmp(argv[i], "-u") == 0) number = atoi(argv[i + 1]);
    FILE *const connection = number < 0 ? NULL : fdopen(number, "r+");
    char line[256] = "";
    if (connection == NULL || fgets(line, sizeof line, connection) == NULL) return 1;
    fseek(connection, 0, SEEK_CUR);
    for (int i = 2; i < argc; ++i) {
        const int isNumber = strcmp(argv[i - 1], "-u") == 0;
        fprintf(connection, "[%s]", isNumber ? "SOCKET" : argv[i]);
    }
    fprintf(connection, " %s", line);
    return fclose(connection) != 0;
}

int main(int argc, char **argv)
{
    const char *const what = argc > 1 ? argv[1] : "args";
    if (strcmp(what, "exit") == 0) return atoi(argv[2]);
    if (strcmp(what, "signal") == 0) return raise(atoi(argv[2]));
    if (strcmp(what, "copy") == 0) return copy();
    if (strcmp(what, "flood") == 0) return flood(atol(argv[2]));
    if (strcmp(what, "streams") == 0) return streams(argv[2]);
    if (strcmp(what, "serve") == 0) return serve(argc, argv);
    if (strcmp(what, "session") == 0) return printf("%s\n", getsid(0) == getpid() ? "own" : "caller's") < 0;
    if (strcmp(what, "say") == 0) return printf("%s", argv[2]) < 0 || fprintf(stderr, "%s", argv[3]) < 0;
    if (strcmp(what, "shut") == 0) return close(0) != 0 || close(1) != 0 || usleep(20000) != 0;
    for (int i = 0; i < argc; ++i) printf("[%s]\n", argv[i]);
    return 0;
}
