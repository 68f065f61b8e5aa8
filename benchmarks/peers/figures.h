#ifndef FIGURES_H
#define FIGURES_H

/// What this process has taken so far, all of its threads together, but not the processes that it has started.
struct Figures
{
    long long cpu = 0;  ///< CPU time in ns.
    long long wall = 0; ///< The clock, in ns.
    long faults = 0;    ///< Page faults, with and without the disk.

    static Figures now();
};

#endif // FIGURES_H
