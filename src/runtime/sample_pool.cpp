// Recording-length scratch arrays kept by each thread (see the header).
#include "runtime/sample_pool.hpp"

#include <algorithm>
#include <limits>
#include <utility>

namespace zyn {
namespace {

// Enough for the arrays of several 10-minute analyses at 200 Hz.
constexpr std::size_t kPooledBytesPerThread = std::size_t{48} << 20;
// Smaller arrays (under 128 KiB) are served well by the heap's own bins.
constexpr std::size_t kMinPooledSamples = 16384;

struct Pool {
  std::vector<std::vector<double>> spare;
  std::size_t bytes = 0;
};

Pool& this_threads_pool() {
  thread_local Pool pool;
  return pool;
}

std::size_t bytes_of(const std::vector<double>& v) { return v.capacity() * sizeof(double); }

// The smallest spare array holding n samples, or an empty vector.
std::vector<double> take(std::size_t n) {
  if (n < kMinPooledSamples) return {};
  Pool& pool = this_threads_pool();
  auto best = pool.spare.end();
  for (auto it = pool.spare.begin(); it != pool.spare.end(); ++it) {
    if (it->capacity() >= n && (best == pool.spare.end() || it->capacity() < best->capacity())) best = it;
  }
  if (best == pool.spare.end()) return {};
  std::vector<double> v = std::move(*best);
  pool.spare.erase(best);
  pool.bytes -= bytes_of(v);
  return v;
}

void give_back(std::vector<double>&& v) {
  if (v.capacity() < kMinPooledSamples) return;
  Pool& pool = this_threads_pool();
  if (pool.bytes + bytes_of(v) > kPooledBytesPerThread) return;  // freed as usual
  const std::size_t bytes = bytes_of(v);
  pool.spare.push_back(std::move(v));
  pool.bytes += bytes;
}

}  // namespace

PooledSamples::PooledSamples(std::size_t n) : values_(take(n)) { values_.assign(n, 0.0); }

PooledSamples::PooledSamples(std::span<const double> x) : values_(take(x.size())) {
  values_.assign(x.begin(), x.end());
}

PooledSamples::PooledSamples(Overwritten size) : values_(take(size.samples)) {
#ifdef NDEBUG
  values_.resize(size.samples);  // only samples the spare array lacks are zeroed
#else
  values_.assign(size.samples, std::numeric_limits<double>::quiet_NaN());
#endif
}

PooledSamples::PooledSamples(Room room) : values_(take(room.samples)) {
  values_.clear();
  values_.reserve(room.samples);
}

PooledSamples::~PooledSamples() {
  try {
    give_back(std::move(values_));
  } catch (...) {  // no room to remember the array: it is simply freed
  }
}

std::size_t pooled_bytes_of_this_thread() { return this_threads_pool().bytes; }

}  // namespace zyn
