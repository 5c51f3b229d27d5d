// Recording-length scratch arrays of doubles, reused through one pool for the
// whole process.
//
// One analysis of a 10-minute recording at 200 Hz needs about ten arrays of
// the recording's length, a megabyte each. Taken from the system afresh on
// every call, each costs a page fault per 4 KiB (milliseconds per call on a
// virtual machine); kept by every calling thread, they grow with the number
// of threads (a pool of 200 application threads held gigabytes). So arrays
// of kPooledSamplesFrom samples and more are mapped from the system directly
// (never through the C library's heap, whose per-thread arenas keep freed
// memory), and a returned array is kept for the next analysis of any thread
// while the pool holds less than pool_limit_bytes() — a bound set by the
// number of processors, since at most that many analyses run at full speed
// at once — and otherwise unmapped at once, its memory back with the system.
// After a burst of more analyses at once than that, the pool keeps one
// processor's share and asks the C library's heaps to return their free
// pages. Shorter arrays come from the heap as usual.
//
// An array comes out zeroed or copied, exactly as a new vector would, or,
// where its user writes every sample before reading one, as it is; either way
// nothing of an earlier analysis can reach a result.
#pragma once

#include <cstddef>
#include <span>
#include <vector>

namespace zyn {

// Arrays shorter than this (128 KiB) come from the heap, whose bins serve
// them well and keep no more than a few of them.
inline constexpr std::size_t kPooledSamplesFrom = 16384;

class PooledSamples {
 public:
  // n zeros.
  explicit PooledSamples(std::size_t n);
  // A copy of x.
  explicit PooledSamples(std::span<const double> x);
  // n samples of unspecified value, for an array its user overwrites
  // entirely before reading any of it: a spare array of the pool is handed
  // over as it is, without the pass that zeroes a megabyte. (Builds with
  // assertions fill it with NaN instead, so that a sample left unwritten
  // shows in the results.)
  struct Overwritten {
    std::size_t samples;
  };
  explicit PooledSamples(Overwritten size);
  PooledSamples(const PooledSamples&) = delete;
  PooledSamples& operator=(const PooledSamples&) = delete;
  // The array goes back to the pool, or to the system when the pool is full.
  ~PooledSamples();

  std::span<double> operator*() { return {data_, size_}; }
  std::span<const double> operator*() const { return {data_, size_}; }

 private:
  double* data_ = nullptr;
  std::size_t size_ = 0;
  std::size_t capacityBytes_ = 0;  // 0: a heap array (small_) or none
  std::vector<double> small_;
};

// Most bytes the pool keeps between analyses: 12 MiB per processor.
std::size_t pool_limit_bytes();
// Bytes the pool keeps now (for tests).
std::size_t pooled_bytes();

}  // namespace zyn
