#pragma once
// Shares out independent tasks among the library's helper threads and the
// calling thread. The pool is made on first use; one parallel loop runs on it
// at a time, and a loop that finds it taken (another caller's thread, or a
// task of a running loop) runs its tasks on its own thread. Which thread runs
// which task never matters to the results: tasks write disjoint elements.

#include <cstddef>
#include <type_traits>

namespace zel::numerics {

/// Work, counted in element updates (one multiplication and one
/// subtraction), below which a step stays on the calling thread. Handing a
/// step to helpers that still watch for it costs about a microsecond, to
/// sleeping ones 100 µs or more; but the rows a helper updated must then
/// travel to the core that factorises them. 10^6 updates take some 50 µs;
/// band steps of 2·10^6 updates were measured to gain on two threads.
inline constexpr double ParallelWorkFrom = 1.0e6;

/// Threads to use for a step of `work` updates made of `tasks` independent
/// tasks: 1 below the threshold, otherwise at most the caller's setting.
std::size_t ThreadsFor(double work, std::size_t tasks) noexcept;

/// A short pause for a thread that waits for another by watching a word:
/// it yields the core's resources to its sibling and saves power.
void Pause() noexcept;

using TaskFn = void (*)(void* context, std::size_t task, std::size_t thread);

/// Runs fn(context, t, thread) for every t in [0, tasks), on up to `threads`
/// threads; `thread` (below `threads`) tells which thread runs the task, 0
/// being the caller. Returns when all have run. Tasks must not throw.
void RunParallel(std::size_t tasks, std::size_t threads, TaskFn fn, void* context) noexcept;

/// The same with a callable `task(t, thread)`.
template <class Task>
void ParallelFor(std::size_t tasks, std::size_t threads, Task&& task) noexcept {
  RunParallel(
      tasks, threads,
      [](void* c, std::size_t t, std::size_t thread) {
        (*static_cast<std::remove_reference_t<Task>*>(c))(t, thread);
      },
      const_cast<void*>(static_cast<const void*>(&task)));
}

} // namespace zel::numerics
