// What code costs, whatever else the machine does and however fast it is: to be compared with what less of it
// costs.
#pragma once

#include <time.h>

#include <algorithm>

/// Seconds of the processor's time that `work` takes.
template <class Work>
double cpu_seconds(Work work) {
    timespec start;
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &start);
    work();
    timespec end;
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &end);
    return static_cast<double>(end.tv_sec - start.tv_sec) +
           static_cast<double>(end.tv_nsec - start.tv_nsec) / 1e9;
}

/// The least of three times, for work that may be repeated.
template <class Work>
double least_cpu_seconds(Work work) {
    return std::min({cpu_seconds(work), cpu_seconds(work), cpu_seconds(work)});
}
