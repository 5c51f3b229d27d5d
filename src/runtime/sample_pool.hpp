// Recording-length scratch arrays kept by each thread between its analyses.
//
// One analysis of a 10-minute recording at 200 Hz needs about a dozen arrays
// of the recording's length, a megabyte each. Freed at the end of every call,
// they leave so much free space at the top of the C library's heap that it
// hands the memory back to the system, and the next call takes it afresh at
// one page fault per 4 KiB: milliseconds per call on a virtual machine. A
// thread therefore keeps such arrays (up to kPooledBytesPerThread) for its
// next analysis and frees them when it ends. An array comes out of the pool
// zeroed or filled, exactly as a new vector would, or, where its user writes
// every sample before reading one, as it is; either way nothing of an earlier
// analysis can reach a result.
#pragma once

#include <cstddef>
#include <span>
#include <vector>

namespace zyn {

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
  // No samples yet, but room for this many: an array another thread fills
  // (taken here, so that the memory comes from this thread's pool).
  struct Room {
    std::size_t samples;
  };
  explicit PooledSamples(Room room);
  PooledSamples(const PooledSamples&) = delete;
  PooledSamples& operator=(const PooledSamples&) = delete;
  // The array goes back to this thread's pool (or is freed when it is full).
  ~PooledSamples();

  std::vector<double>& operator*() { return values_; }
  const std::vector<double>& operator*() const { return values_; }
  std::vector<double>* operator->() { return &values_; }
  const std::vector<double>* operator->() const { return &values_; }

 private:
  std::vector<double> values_;
};

// Bytes this thread's pool holds now (for tests).
std::size_t pooled_bytes_of_this_thread();

}  // namespace zyn
