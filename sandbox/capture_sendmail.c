/* Stands in for /usr/sbin/sendmail in the sandbox: writes down how it was called and what it was
 * handed, as files N.call and N.mail of the folder /capture, N counting the calls from 1.
 *
 * /capture/behaviour may hold words, obeyed in their order: "exit N", "kill N" (a signal),
 * "term" (the program that called), "sleep MILLISECONDS", "print" (a line on both streams),
 * "noread", "slow" (read a little at a time), "some" (read a little and no more). */
#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#define FOLDER "/capture"

static int open_record(int number, const char* kind, int flags) {
    char name[64];
    snprintf(name, sizeof name, FOLDER "/%d.%s", number, kind);
    return open(name, O_WRONLY | O_CREAT | O_CLOEXEC | flags, 0666);
}

/* What SIGPIPE does, and the descriptors that are open before any of ours is. */
static void describe_process(char* text, size_t size) {
    struct sigaction action;
    sigaction(SIGPIPE, NULL, &action);
    size_t used =
        (size_t)snprintf(text, size, "%s", action.sa_handler == SIG_DFL ? "default" : "changed");
    for (int fd = 0; fd < 256; ++fd)
        if (fcntl(fd, F_GETFD) != -1)
            used += (size_t)snprintf(text + used, size - used, " %d", fd);
}

static void write_all(int fd, const char* bytes, size_t size) {
    while (size > 0) {
        const ssize_t count = write(fd, bytes, size);
        if (count <= 0)
            exit(70);
        bytes += count;
        size -= (size_t)count;
    }
}

static void read_message(int record, size_t block_size, useconds_t pause, int blocks) {
    static char block[65536];
    ssize_t count;
    while (blocks-- != 0 && (count = read(0, block, block_size)) > 0) {
        write_all(record, block, (size_t)count);
        if (pause != 0)
            usleep(pause);
    }
}

static void record_call(int number, int argc, char** argv, const char* process) {
    const int call = open_record(number, "call", 0);
    write_all(call, process, strlen(process) + 1);
    for (int i = 0; i < argc; ++i)
        write_all(call, argv[i], strlen(argv[i]) + 1);
    close(call);
}

int main(int argc, char** argv) {
    static char process[4096];
    char behaviour[256] = "";
    int number = 0, record, result = 0, is_read = 0;
    describe_process(process, sizeof process);
    do
        record = open_record(++number, "mail", O_EXCL);
    while (record == -1 && errno == EEXIST);
    if (record == -1)
        return 71;
    record_call(number, argc, argv, process);

    const int told = open(FOLDER "/behaviour", O_RDONLY | O_CLOEXEC);
    if (told != -1 && read(told, behaviour, sizeof behaviour - 1) < 0)
        return 72;
    close(told);
    for (char* word = strtok(behaviour, " \n"); word != NULL; word = strtok(NULL, " \n")) {
        if (strcmp(word, "exit") == 0) {
            result = atoi(strtok(NULL, " \n"));
        } else if (strcmp(word, "kill") == 0) {
            raise(atoi(strtok(NULL, " \n")));
        } else if (strcmp(word, "term") == 0) {
            kill(getppid(), SIGTERM);
        } else if (strcmp(word, "sleep") == 0) {
            usleep((useconds_t)atoi(strtok(NULL, " \n")) * 1000);
        } else if (strcmp(word, "print") == 0) {
            puts("sendmail on standard output");
            fputs("sendmail on standard error\n", stderr);
        } else if (strcmp(word, "slow") == 0) {
            read_message(record, 4096, 10000, -1);
            is_read = 1;
        } else if (strcmp(word, "some") == 0) {
            read_message(record, 16, 0, 1);
            is_read = 1;
        } else if (strcmp(word, "noread") == 0) {
            is_read = 1;
        }
    }
    if (!is_read)
        read_message(record, 65536, 0, -1);
    return result;
}
