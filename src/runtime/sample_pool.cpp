// Recording-length scratch arrays reused through one process-wide pool (see
// the header).
#include "runtime/sample_pool.hpp"

#include <malloc.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <limits>
#include <mutex>
#include <new>
#include <utility>

namespace zyn {
namespace {

// The arrays of one 10-minute analysis at 200 Hz (about 8.5 MiB) per
// processor: as many analyses as run at full speed at once find theirs.
constexpr std::size_t kPooledBytesPerProcessor = std::size_t{12} << 20;

struct Mapping {
  double* data;
  std::size_t bytes;
};

struct Pool {
  std::mutex mutex;
  std::vector<Mapping> spare;
  std::size_t bytes = 0;
  std::size_t taken = 0;     // arrays handed out and not yet returned
  bool overflowed = false;   // an array was unmapped since the last trim
};

// When more analyses ran at once than the pool serves, the C library's
// heaps took their other working memory in as many arenas, and keep it
// after it is freed. Once the last of those analyses has returned its
// arrays, the pool keeps one processor's share only and the heaps are asked
// to hand their free pages back, once per such burst: callers that never
// run more analyses at once than the pool serves never pay for it.
void trim_heaps() {
#if defined(__GLIBC__)
  malloc_trim(0);
#endif
}

// Never destroyed: analyses on threads that outlive static destruction still
// find it (its mappings go with the process).
Pool& the_pool() {
  static Pool* const pool = new Pool;
  return *pool;
}

std::size_t page_rounded(std::size_t bytes) {
  static const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  return (bytes + page - 1) / page * page;
}

Mapping map_new(std::size_t bytes) {
  void* p = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (p == MAP_FAILED) throw std::bad_alloc();
  return {static_cast<double*>(p), bytes};
}

// The smallest spare mapping of at least `bytes`, or a new one.
Mapping take(std::size_t bytes) {
  Pool& pool = the_pool();
  {
    const std::lock_guard<std::mutex> lock(pool.mutex);
    auto best = pool.spare.end();
    for (auto it = pool.spare.begin(); it != pool.spare.end(); ++it) {
      if (it->bytes >= bytes && (best == pool.spare.end() || it->bytes < best->bytes)) best = it;
    }
    ++pool.taken;
    if (best != pool.spare.end()) {
      const Mapping m = *best;
      *best = pool.spare.back();
      pool.spare.pop_back();
      pool.bytes -= m.bytes;
      return m;
    }
  }
  try {
    return map_new(page_rounded(bytes));
  } catch (...) {
    const std::lock_guard<std::mutex> lock(pool.mutex);
    --pool.taken;
    throw;
  }
}

void give_back(Mapping m) {
  Pool& pool = the_pool();
  bool kept = false, burstEnded = false;
  {
    const std::lock_guard<std::mutex> lock(pool.mutex);
    --pool.taken;
    if (pool.bytes + m.bytes <= pool_limit_bytes()) {
      try {
        pool.spare.push_back(m);
        pool.bytes += m.bytes;
        kept = true;
      } catch (const std::bad_alloc&) {  // no room to remember it: unmapped below
      }
    }
    pool.overflowed = pool.overflowed || !kept;
    burstEnded = pool.taken == 0 && pool.overflowed;
    if (burstEnded) {
      pool.overflowed = false;
      while (pool.bytes > kPooledBytesPerProcessor) {  // rare: unmapped under the lock
        munmap(pool.spare.back().data, pool.spare.back().bytes);
        pool.bytes -= pool.spare.back().bytes;
        pool.spare.pop_back();
      }
    }
  }
  if (!kept) munmap(m.data, m.bytes);
  if (burstEnded) trim_heaps();
}

}  // namespace

std::size_t pool_limit_bytes() {
  static const std::size_t limit = [] {
    const long online = sysconf(_SC_NPROCESSORS_ONLN);
    const auto processors = static_cast<std::size_t>(std::max(1L, online));
    return processors * kPooledBytesPerProcessor;
  }();
  return limit;
}

std::size_t pooled_bytes() {
  Pool& pool = the_pool();
  const std::lock_guard<std::mutex> lock(pool.mutex);
  return pool.bytes;
}

PooledSamples::PooledSamples(Overwritten size) : size_(size.samples) {
  if (size_ < kPooledSamplesFrom) {
    small_.resize(size_);
    data_ = small_.data();
  } else {
    if (size_ > std::numeric_limits<std::size_t>::max() / sizeof(double)) throw std::bad_alloc();
    const Mapping m = take(size_ * sizeof(double));
    data_ = m.data;
    capacityBytes_ = m.bytes;
  }
#ifndef NDEBUG
  std::fill_n(data_, size_, std::numeric_limits<double>::quiet_NaN());
#endif
}

PooledSamples::PooledSamples(std::size_t n) : PooledSamples(Overwritten{n}) { std::fill_n(data_, size_, 0.0); }

PooledSamples::PooledSamples(std::span<const double> x) : PooledSamples(Overwritten{x.size()}) {
  std::copy(x.begin(), x.end(), data_);
}

PooledSamples::~PooledSamples() {
  if (capacityBytes_ != 0) give_back({data_, capacityBytes_});
}

}  // namespace zyn
