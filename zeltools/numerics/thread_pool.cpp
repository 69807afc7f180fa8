#include "zeltools/numerics/internal/thread_pool.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>
#include <vector>

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

// Helper threads sleep on a condition variable between loops. A loop is
// published under the mutex with a new generation number; each helper whose
// index is below the loop's helper count takes tasks from the shared counter
// until none is left, then reports itself done. Helpers spin briefly before
// they sleep, since the solvers' loops follow each other closely.
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
    {
      std::lock_guard<std::mutex> lock(mutex_);
      fn_ = fn;
      context_ = context;
      tasks_ = tasks;
      next_.store(0, std::memory_order_relaxed);
      helpers_ = helpers;
      running_ = helpers;
      generation_.fetch_add(1, std::memory_order_release);
    }
    if (helpers > 0)
      wake_.notify_all();
    Work(0);
    std::unique_lock<std::mutex> lock(mutex_);
    done_.wait(lock, [&] { return running_ == 0; });
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

  void Work(std::size_t thread) noexcept {
    for (std::size_t t; (t = next_.fetch_add(1, std::memory_order_relaxed)) < tasks_;)
      fn_(context_, t, thread);
  }

  void Loop(std::size_t index, std::uint64_t seen) noexcept {
    for (;;) {
      for (int spin = 0; spin < 2000 && generation_.load(std::memory_order_acquire) == seen; ++spin)
        std::this_thread::yield();
      std::unique_lock<std::mutex> lock(mutex_);
      wake_.wait(lock, [&] { return stop_ || generation_.load(std::memory_order_relaxed) != seen; });
      if (stop_)
        return;
      seen = generation_.load(std::memory_order_relaxed);
      if (index > helpers_)
        continue;
      lock.unlock();
      Work(index);
      lock.lock();
      if (--running_ == 0)
        done_.notify_one();
    }
  }

  std::atomic<bool> busy_{false};
  std::mutex mutex_;
  std::condition_variable wake_, done_;
  std::vector<std::thread> workers_;
  std::atomic<std::uint64_t> generation_{0};
  std::atomic<std::size_t> next_{0};
  TaskFn fn_ = nullptr;
  void* context_ = nullptr;
  std::size_t tasks_ = 0, helpers_ = 0, running_ = 0;
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

std::size_t ThreadsFor(double work, std::size_t tasks) noexcept {
  if (work < ParallelWorkFrom || tasks < 2)
    return 1;
  return std::min<std::size_t>(GetNumThreads(), tasks);
}

void RunParallel(std::size_t tasks, std::size_t threads, TaskFn fn, void* context) noexcept {
  Pool* pool = threads > 1 && tasks > 1 ? ThePool() : nullptr;
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
