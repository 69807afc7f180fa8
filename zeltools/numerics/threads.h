#pragma once
/// \file
/// How many threads the solvers may use. `GaussTapeDirect`, `GaussTapeBack`
/// (and the `GaussTape` entry points built on them) and `Gauss` share large
/// steps of their work among threads; every element still receives its
/// operations in the same order, so the results are identical to the bit for
/// every thread count, and a count of 1 runs everything on the calling thread.
///
/// A step is shared out only when it holds at least about a million element
/// updates (one multiplication and one subtraction each, some tens of
/// microseconds of work); smaller steps, and so small systems, stay on the
/// calling thread. While one panel of rows is eliminated, the threads already
/// update the rows beyond it from the panel before (look-ahead), which keeps
/// the same order of operations for every element.
///
/// Between the steps of one solution the helpers watch for the next step for
/// up to 300 microseconds (a wake-up from sleep costs about as long as a
/// step), then sleep: after a solver returns they use the processor for at
/// most that long.
///
/// The helpers are a small pool of std::thread owned by the library rather
/// than OpenMP: no run-time library is added to the callers' link, the pool
/// starts on first need, and a caller that finds it busy (another of the
/// application's threads is solving) simply works alone, with the same bits.

namespace zel {

/// Sets the number of threads the solvers may use, the calling thread
/// included: 0 restores the default, the processor count that the system
/// reports; counts above 64 are taken as 64. Process-wide; a solver reads it
/// when it starts. Helper threads are started on first need, not before, and
/// the library keeps them (asleep once idle) until the process ends; when the system
/// refuses a thread, the work goes to the threads there are.
void SetNumThreads(unsigned int count) noexcept;

/// The number of threads the solvers may use (at least 1).
unsigned int GetNumThreads() noexcept;

} // namespace zel
