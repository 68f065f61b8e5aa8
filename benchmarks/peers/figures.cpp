#include "figures.h"

#include <ctime>
#include <sys/resource.h>

namespace {

long long clockTime(clockid_t clock)
{
    timespec time{};
    clock_gettime(clock, &time);
    return 1000000000LL * time.tv_sec + time.tv_nsec;
}

} // namespace

Figures Figures::now()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return {clockTime(CLOCK_PROCESS_CPUTIME_ID), clockTime(CLOCK_MONOTONIC), usage.ru_minflt + usage.ru_majflt};
}
