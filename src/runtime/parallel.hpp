// Sharing the independent steps of one analysis with a second core.
//
// The machines this library targets have at least two cores, and a single
// analysis would leave the second idle. An analysis long enough to repay it
// owns one helper thread for its whole duration and hands it steps that read
// only data no other running step writes: whole steps, or a share of the runs
// of a loop whose iterations touch only their own item. Every item is still
// computed by the same code, so results do not depend on the split, nor on
// whether a helper could be started at all.
//
// Starting a thread costs a few percent of a whole 10-minute analysis
// on a virtual machine, so the helper is started once per analysis and fed
// from a queue rather than started per step.
#pragma once

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <future>
#include <mutex>
#include <system_error>
#include <thread>
#include <type_traits>
#include <utility>

namespace zyn {

// Waking a sleeping thread costs tens of microseconds on a virtual machine,
// as much as a short step; a thread expecting its partner within this time
// polls instead of sleeping, yielding its core to any other thread that is
// ready to run (many analyses at once must not starve one another).
inline constexpr std::chrono::microseconds kSpinBeforeSleeping{200};

// Polls done() until it holds or kSpinBeforeSleeping has passed.
template <class Done>
void poll_briefly(Done done) {
  const auto giveUp = std::chrono::steady_clock::now() + kSpinBeforeSleeping;
  while (!done() && std::chrono::steady_clock::now() < giveUp) std::this_thread::yield();
}

// A shared loop is cut into about this many runs, of at least kMinItemsPerRun
// items each: enough to even out the threads, few enough to keep the
// per-run overhead small.
inline constexpr std::size_t kRunsPerLoop = 32;
inline constexpr std::size_t kMinItemsPerRun = 4;

// The result of a step handed to a helper. Going out of scope waits for the
// step, so a step never outlives the data it reads, even when the caller
// leaves by an exception.
template <class R>
class Pending {
 public:
  explicit Pending(std::future<R> f) : future_(std::move(f)) {}
  Pending(Pending&&) noexcept = default;
  Pending& operator=(Pending&&) = delete;
  ~Pending() {
    if (future_.valid()) future_.wait();
  }
  // The step's result; an exception thrown by the step is rethrown here.
  R get() {
    poll_briefly([this] { return future_.wait_for(std::chrono::seconds(0)) == std::future_status::ready; });
    return future_.get();
  }

 private:
  std::future<R> future_;
};

class HelperThread {
 public:
  // Starts the helper when wanted and the system grants a thread; otherwise
  // every step runs on the caller's thread when it is handed over.
  explicit HelperThread(bool wanted) {
    if (!wanted) return;
    try {
      thread_ = std::thread([this] { serve(); });
    } catch (const std::system_error&) {
    }
  }
  HelperThread(const HelperThread&) = delete;
  HelperThread& operator=(const HelperThread&) = delete;
  // Finishes the steps still queued, then joins.
  ~HelperThread() {
    if (!thread_.joinable()) return;
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      closing_.store(true, std::memory_order_release);
    }
    wake_.notify_one();
    thread_.join();
  }

  // Hands f to the helper (steps run one after another, in the order handed
  // over). A step must not itself wait for a later step.
  template <class F>
  Pending<std::invoke_result_t<F>> start(F f) {
    std::packaged_task<std::invoke_result_t<F>()> task(std::move(f));
    Pending<std::invoke_result_t<F>> result(task.get_future());
    if (!thread_.joinable()) {
      task();
      return result;
    }
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      queue_.emplace_back([step = std::move(task)]() mutable { step(); });
      queued_.fetch_add(1, std::memory_order_release);
    }
    wake_.notify_one();
    return result;
  }

  // Calls body(first, past) over consecutive runs of items covering [0,
  // count) exactly once. From minimumToShare items on, the caller and the
  // helper both take runs until none is left, so neither waits long for the
  // other when items differ in cost. Runs hold itemsPerRun items, or by
  // default about count / kRunsPerLoop. Exceptions of either thread reach
  // the caller.
  template <class Body>
  void for_each_shared(std::size_t count, std::size_t minimumToShare, Body&& body, std::size_t itemsPerRun = 0) {
    if (count < minimumToShare || !thread_.joinable()) {
      body(std::size_t{0}, count);
      return;
    }
    const std::size_t run =
        itemsPerRun > 0 ? itemsPerRun : std::max<std::size_t>(kMinItemsPerRun, count / kRunsPerLoop);
    std::atomic<std::size_t> next{0};
    const auto take_runs = [&body, &next, run, count] {
      for (std::size_t first = next.fetch_add(run); first < count; first = next.fetch_add(run)) {
        body(first, std::min(count, first + run));
      }
    };
    Pending<void> helperRuns = start(take_runs);
    try {
      take_runs();
    } catch (...) {
      next.store(count);  // the helper stops at its next run
      throw;
    }
    helperRuns.get();
  }

 private:
  void serve() {
    for (;;) {
      std::packaged_task<void()> step;
      poll_briefly([this] {
        return queued_.load(std::memory_order_acquire) != 0 || closing_.load(std::memory_order_acquire);
      });
      {
        std::unique_lock<std::mutex> lock(mutex_);
        wake_.wait(lock, [this] { return closing_.load(std::memory_order_relaxed) || !queue_.empty(); });
        if (queue_.empty()) return;
        step = std::move(queue_.front());
        queue_.pop_front();
        queued_.fetch_sub(1, std::memory_order_relaxed);
      }
      step();
    }
  }

  std::mutex mutex_;
  std::condition_variable wake_;
  std::deque<std::packaged_task<void()>> queue_;
  std::atomic<std::size_t> queued_{0};
  std::atomic<bool> closing_{false};
  std::thread thread_;
};

}  // namespace zyn
