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
/// subtraction), below which a step stays on the calling thread: waking the
/// helpers costs some tens of microseconds, the time of about 10^6 updates.
inline constexpr double ParallelWorkFrom = 1.0e6;

/// Threads to use for a step of `work` updates made of `tasks` independent
/// tasks: 1 below the threshold, otherwise at most the caller's setting.
std::size_t ThreadsFor(double work, std::size_t tasks) noexcept;

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
