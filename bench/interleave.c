/* interleave ROUNDS -- COMMAND... -- COMMAND...: runs the commands in turn, ROUNDS times, their output thrown
 * away. Prints for each the median and the least wall time in microseconds, the peak resident size in KiB,
 * and the median of the processor time in microseconds. */
#define _GNU_SOURCE
#include <fcntl.h>
#include <spawn.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <time.h>

extern char** environ;

static double now(void) {
    struct timespec t;
    clock_gettime(CLOCK_MONOTONIC, &t);
    return (double)t.tv_sec * 1e6 + (double)t.tv_nsec / 1e3;
}

static double processor_time(const struct rusage* usage) {
    return (double)(usage->ru_utime.tv_sec + usage->ru_stime.tv_sec) * 1e6 +
           (double)(usage->ru_utime.tv_usec + usage->ru_stime.tv_usec);
}

static int by_value(const void* a, const void* b) {
    double x = *(const double*)a, y = *(const double*)b;
    return (x > y) - (x < y);
}

enum { MOST = 8 };

int main(int argc, char** argv) {
    if (argc < 4) return 2;
    int rounds = atoi(argv[1]), count = 0;
    char** commands[MOST];
    for (int i = 2; i < argc && count < MOST; ++i) {
        if (strcmp(argv[i], "--") != 0) continue;
        argv[i] = NULL;
        commands[count++] = argv + i + 1;
    }
    double* times[MOST];
    double* busy[MOST];
    long peak[MOST] = {0};
    for (int c = 0; c < count; ++c) {
        times[c] = malloc(sizeof(double) * (size_t)rounds);
        busy[c] = malloc(sizeof(double) * (size_t)rounds);
    }

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
    for (int round = -1; round < rounds; ++round) { /* the first round warms up */
        for (int c = 0; c < count; ++c) {
            pid_t pid;
            int status;
            struct rusage usage;
            double start = now();
            if (posix_spawnp(&pid, commands[c][0], &actions, NULL, commands[c], environ) != 0) return 1;
            wait4(pid, &status, 0, &usage);
            double took = now() - start;
            if (status != 0) {
                fprintf(stderr, "%s failed\n", commands[c][0]);
                return 1;
            }
            if (round >= 0) {
                times[c][round] = took;
                busy[c][round] = processor_time(&usage);
            }
            if (usage.ru_maxrss > peak[c]) peak[c] = usage.ru_maxrss;
        }
    }
    for (int c = 0; c < count; ++c) {
        qsort(times[c], (size_t)rounds, sizeof(double), by_value);
        qsort(busy[c], (size_t)rounds, sizeof(double), by_value);
        printf("%.1f %.1f %ld %.1f\n", times[c][rounds / 2], times[c][0], peak[c], busy[c][rounds / 2]);
    }
    return 0;
}
