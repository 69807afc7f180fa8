#include "zeltools/numerics/internal/thread_pool.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>
#include <vector>

#if defined(__x86_64__) || defined(__i386__) || defined(_M_X64) || defined(_M_IX86)
#include <immintrin.h>
#endif

#include "zeltools/numerics/threads.h"

namespace zel {
namespace numerics {
namespace {

constexpr unsigned MaxThreads = 64;
std::atomic<unsigned> requested{0}; // 0: the processor count

unsigned HardwareThreads() noexcept {
  static const unsigned count = std::clamp(std::thread::hardware_concurrency(), 1u, MaxThreads);
  return count;
}

// How long a thread that waits for a loop, or for its end, watches the
// shared words before it sleeps. A wake-up through the condition variable
// costs 100 µs or more on a loaded virtual machine, longer than a panel of a
// band factorisation takes, so helpers stay awake across the gaps between
// one solver's steps; after the solver has returned they burn at most this
// long before they sleep.
constexpr std::chrono::microseconds SpinFor{300};

// Watches `until()` with a pause between looks, for at most SpinFor; the
// clock is read once every 64 looks, which keeps the cost of reading it out
// of the hand-over. Returns whether `until()` came true.
template <class Until>
bool SpinUntil(Until until) noexcept {
  const auto deadline = std::chrono::steady_clock::now() + SpinFor;
  for (;;) {
    for (int look = 0; look < 64; ++look) {
      if (until())
        return true;
      Pause();
    }
    if (std::chrono::steady_clock::now() >= deadline)
      return false;
  }
}

// Helper threads sleep on a condition variable between loops. A loop is
// published under the mutex with a new generation number. Tasks are claimed
// from one atomic word holding the generation (high 32 bits) and the next
// task (low 32 bits), so a helper that wakes late, after its loop has ended,
// claims nothing, and the caller waits only for tasks that were claimed, not
// for helpers to wake: on a loaded machine a descheduled helper costs the
// loop nothing unless it holds a task.
class Pool {
public:
  ~Pool() {
    {
      std::lock_guard<std::mutex> lock(mutex_);
      stop_ = true;
    }
    wake_.notify_all();
    for (std::thread& t : workers_)
      t.join();
  }

  bool TryAcquire() noexcept {
    bool expected = false;
    return busy_.compare_exchange_strong(expected, true, std::memory_order_acquire);
  }
  void Release() noexcept { busy_.store(false, std::memory_order_release); }

  // Called with the pool acquired: runs the loop on the caller and up to
  // `helpers` helper threads, starting helpers that do not exist yet.
  void Run(std::size_t tasks, std::size_t helpers, TaskFn fn, void* context) noexcept {
    helpers = std::min(helpers, Grow(helpers));
    std::uint64_t generation;
    {
      std::lock_guard<std::mutex> lock(mutex_);
      fn_ = fn;
      context_ = context;
      tasks_ = tasks;
      helpers_ = helpers;
      completed_.store(0, std::memory_order_relaxed);
      generation = generation_.load(std::memory_order_relaxed) + 1;
      claim_.store((generation & 0xFFFFFFFFu) << 32, std::memory_order_relaxed);
      generation_.store(generation, std::memory_order_release);
    }
    if (helpers > 0)
      wake_.notify_all();
    Work(generation, tasks, fn, context, 0);
    if (SpinUntil([&] { return completed_.load(std::memory_order_acquire) == tasks; }))
      return;
    std::unique_lock<std::mutex> lock(mutex_);
    done_.wait(lock, [&] { return completed_.load(std::memory_order_acquire) == tasks; });
  }

private:
  // Starts helpers up to `count`; returns how many there are. A thread the
  // system refuses leaves the pool as it is.
  std::size_t Grow(std::size_t count) noexcept {
    while (workers_.size() < count) {
      try {
        // The helper waits for the loop after the current one, even if the
        // caller publishes it before the helper first looks.
        workers_.emplace_back([this, index = workers_.size() + 1, seen = generation_.load()] { Loop(index, seen); });
      } catch (...) {
        break;
      }
    }
    return workers_.size();
  }

  // Claims and runs tasks of loop `generation` while it has any left.
  void Work(std::uint64_t generation, std::size_t tasks, TaskFn fn, void* context, std::size_t thread) noexcept {
    const std::uint64_t tag = generation & 0xFFFFFFFFu;
    std::uint64_t word = claim_.load(std::memory_order_acquire);
    while ((word >> 32) == tag && (word & 0xFFFFFFFFu) < tasks) {
      if (!claim_.compare_exchange_weak(word, word + 1, std::memory_order_acq_rel, std::memory_order_acquire))
        continue;
      fn(context, static_cast<std::size_t>(word & 0xFFFFFFFFu), thread);
      if (completed_.fetch_add(1, std::memory_order_acq_rel) + 1 == tasks) {
        std::lock_guard<std::mutex> lock(mutex_);
        done_.notify_one();
      }
      word = claim_.load(std::memory_order_acquire);
    }
  }

  void Loop(std::size_t index, std::uint64_t seen) noexcept {
    for (;;) {
      SpinUntil([&] { return generation_.load(std::memory_order_acquire) != seen; });
      std::unique_lock<std::mutex> lock(mutex_);
      wake_.wait(lock, [&] { return stop_ || generation_.load(std::memory_order_relaxed) != seen; });
      if (stop_)
        return;
      seen = generation_.load(std::memory_order_relaxed);
      if (index > helpers_)
        continue;
      const TaskFn fn = fn_;
      void* const context = context_;
      const std::size_t tasks = tasks_;
      lock.unlock();
      Work(seen, tasks, fn, context, index);
    }
  }

  std::atomic<bool> busy_{false};
  std::mutex mutex_;
  std::condition_variable wake_, done_;
  std::vector<std::thread> workers_;
  std::atomic<std::uint64_t> generation_{0};
  std::atomic<std::uint64_t> claim_{0};
  std::atomic<std::size_t> completed_{0};
  TaskFn fn_ = nullptr;
  void* context_ = nullptr;
  std::size_t tasks_ = 0, helpers_ = 0;
  bool stop_ = false;
};

Pool* ThePool() noexcept {
  // Made on first use, never at load time; a failure to make it leaves the
  // loops on their callers' threads.
  static Pool* pool = [] {
    try {
      static Pool instance;
      return &instance;
    } catch (...) {
      return static_cast<Pool*>(nullptr);
    }
  }();
  return pool;
}

} // namespace

void Pause() noexcept {
#if defined(__x86_64__) || defined(__i386__) || defined(_M_X64) || defined(_M_IX86)
  _mm_pause();
#elif defined(__aarch64__) && (defined(__GNUC__) || defined(__clang__))
  __asm__ __volatile__("yield");
#endif
}

std::size_t ThreadsFor(double work, std::size_t tasks) noexcept {
  if (work < ParallelWorkFrom || tasks < 2)
    return 1;
  return std::min<std::size_t>(GetNumThreads(), tasks);
}

void RunParallel(std::size_t tasks, std::size_t threads, TaskFn fn, void* context) noexcept {
  // Task numbers share a 64-bit word with the loop's generation.
  Pool* pool = threads > 1 && tasks > 1 && tasks <= 0xFFFFFFFFu ? ThePool() : nullptr;
  if (pool == nullptr || !pool->TryAcquire()) {
    for (std::size_t t = 0; t < tasks; ++t)
      fn(context, t, 0);
    return;
  }
  pool->Run(tasks, std::min(threads, tasks) - 1, fn, context);
  pool->Release();
}

} // namespace numerics

void SetNumThreads(unsigned int count) noexcept {
  numerics::requested.store(std::min(count, numerics::MaxThreads), std::memory_order_relaxed);
}

unsigned int GetNumThreads() noexcept {
  const unsigned r = numerics::requested.load(std::memory_order_relaxed);
  return r == 0 ? numerics::HardwareThreads() : r;
}

} // namespace zel
