// Counts the typed datamap reads (dm_read_*) of a benchmark program, so that
// its floor makes exactly as many reads as the updater's cycle. The bench
// programs that include this header are linked with --wrap for every read
// function: the updaters' calls go through counting wrappers to the real ones.
//
// Thread-safety: the count is a relaxed atomic.
#ifndef BENCH_DATAMAPREADCOUNTER_H_
#define BENCH_DATAMAPREADCOUNTER_H_

// Number of dm_read_* calls since the program started.
long long datamap_read_count();

#endif  // BENCH_DATAMAPREADCOUNTER_H_
