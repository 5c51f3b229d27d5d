// Memory kept between analyses is bounded by the number of processors, not
// by the number of calling threads: 64 threads that each ran a 10-minute
// HRV analysis and now idle hold at most 120 MB more than 64 threads that
// never called, and once they end the process is back within 30 MB of its
// resident size before them. (Resident sizes under the sanitizers say
// nothing about the library: skipped there.)
#include <gtest/gtest.h>

#include <unistd.h>

#include <barrier>
#include <cstdio>
#include <thread>
#include <vector>

#include "analysis/pipelines.hpp"
#include "common/synthetic_ecg.hpp"

namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kSanitized = true;
#else
constexpr bool kSanitized = false;
#endif

constexpr int kThreads = 64;
constexpr double kMegabyte = 1024.0 * 1024.0;

double resident_megabytes() {
  long pages = 0, resident = 0;
  std::FILE* f = std::fopen("/proc/self/statm", "r");
  if (f == nullptr) return -1.0;
  const int read = std::fscanf(f, "%ld %ld", &pages, &resident);
  std::fclose(f);
  if (read != 2) return -1.0;
  return static_cast<double>(resident) * static_cast<double>(sysconf(_SC_PAGESIZE)) / kMegabyte;
}

// Resident size while kThreads threads that ran `work` wait, idle, at a
// barrier; the threads end afterwards.
template <class Work>
double resident_with_idle_threads(Work work) {
  std::barrier idle(kThreads + 1);
  std::barrier release(kThreads + 1);
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([&] {
      work();
      idle.arrive_and_wait();
      release.arrive_and_wait();
    });
  }
  idle.arrive_and_wait();
  const double resident = resident_megabytes();
  release.arrive_and_wait();
  for (std::thread& t : threads) t.join();
  return resident;
}

TEST(MemoryBound, IdleCallingThreadsKeepNoScratchOfTheirOwn) {
  if (kSanitized) GTEST_SKIP() << "resident sizes are the sanitizer's";
  const std::vector<double> ecg = zyn::testing::synthetic_ecg(120000, 200, 70, 9);
  zyn::AnalysisRequest request;
  request.ecg = std::span<const double>(ecg);
  request.fullScale = 10.0;
  ASSERT_EQ(zyn::analyse_hrv(request).error, 0);  // one-time tables and the first scratch are in place

  const double before = resident_megabytes();
  ASSERT_GT(before, 0.0) << "no /proc/self/statm";
  const double onlyWaiting = resident_with_idle_threads([] {});
  const double afterAnalyses = resident_with_idle_threads([&request] {
    volatile int32_t error = zyn::analyse_hrv(request).error;
    (void)error;
  });
  const double afterEnd = resident_megabytes();
  RecordProperty("resident_before_MB", static_cast<int>(before));
  RecordProperty("growth_over_waiting_threads_MB", static_cast<int>(afterAnalyses - onlyWaiting));
  RecordProperty("resident_after_threads_ended_MB", static_cast<int>(afterEnd));
  EXPECT_LE(afterAnalyses - onlyWaiting, 120.0)
      << "idle threads after analyses " << afterAnalyses << " MB, threads that never called " << onlyWaiting << " MB";
  EXPECT_LE(afterEnd - before, 30.0) << "before " << before << " MB, after the threads ended " << afterEnd << " MB";
}

}  // namespace
