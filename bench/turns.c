/* Runs commands in turn and measures each run. Small and static, so that what it measures is the
 * command: a child's peak memory begins at its parent's, and a large parent would be all that one
 * sees of a small child.
 *
 *   turns ROUNDS WARM-UP INPUT OUTPUT COMMAND [ARGUMENT...] [-- COMMAND [ARGUMENT...]]...
 *
 * ROUNDS times each command in order, with the file INPUT as standard input and OUTPUT as standard
 * output; in front of a COMMAND, words like NAME=VALUE go into its environment, <FILE is its
 * standard input instead, and 2>FILE its standard error. For every run but those of the first
 * WARM-UP rounds it prints a line: number of the command from 0, wall time and CPU time in
 * microseconds, peak memory in KiB, page faults. CPU time and faults include those of children that
 * the command waited for. Status 1 when a command cannot be run or fails. */
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

static double now(void) {
    struct timespec time;
    clock_gettime(CLOCK_MONOTONIC, &time);
    return (double)time.tv_sec * 1e6 + (double)time.tv_nsec / 1e3;
}

static double microseconds(struct timeval time) {
    return (double)time.tv_sec * 1e6 + (double)time.tv_usec;
}

static pid_t start(char** command, const char* input, const char* output) {
    const pid_t child = fork();
    if (child == 0) {
        dup2(open(input, O_RDONLY), STDIN_FILENO);
        dup2(open(output, O_WRONLY | O_CREAT | O_TRUNC, 0600), STDOUT_FILENO);
        for (;; ++command) {
            if (command[0][0] == '<')
                dup2(open(command[0] + 1, O_RDONLY), STDIN_FILENO);
            else if (strncmp(command[0], "2>", 2) == 0)
                dup2(open(command[0] + 2, O_WRONLY), STDERR_FILENO);
            else if (strchr(command[0], '=') != NULL)
                putenv(command[0]);
            else
                break;
        }
        execv(command[0], command);
        _exit(127);
    }
    return child;
}

static void run(int number, char** command, const char* input, const char* output, int print) {
    int status = 0;
    struct rusage usage;
    const double begin = now();
    const pid_t child = start(command, input, output);
    if (child == -1 || wait4(child, &status, 0, &usage) == -1 || status != 0) {
        fprintf(stderr, "turns: %s: status %d\n", command[0], status);
        exit(1);
    }
    const double wall = now() - begin;
    if (print)
        printf("%d %.1f %.0f %ld %ld\n", number, wall,
               microseconds(usage.ru_utime) + microseconds(usage.ru_stime), usage.ru_maxrss,
               usage.ru_minflt + usage.ru_majflt);
}

/* Ends the command that begins at `command` and finds the next; NULL after the last. */
static char** next(char** command) {
    for (; *command != NULL; ++command) {
        if (strcmp(*command, "--") == 0) {
            *command = NULL;
            return command + 1;
        }
    }
    return NULL;
}

int main(int argc, char** argv) {
    enum { fixed = 5, most = 16 };
    char** commands[most];
    int count = 0;
    if (argc <= fixed) {
        fputs("usage: turns ROUNDS WARM-UP INPUT OUTPUT COMMAND... [-- COMMAND...]\n", stderr);
        return 2;
    }
    for (char** command = argv + fixed; command != NULL && count < most; command = next(command))
        commands[count++] = command;
    const int rounds = atoi(argv[1]);
    const int warm_up = atoi(argv[2]);
    for (int round = 0; round < warm_up + rounds; ++round)
        for (int i = 0; i < count; ++i)
            run(i, commands[i], argv[3], argv[4], round >= warm_up);
    return 0;
}
