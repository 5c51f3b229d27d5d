// Splitting independent per-item work of one analysis over two threads.
//
// The machines this library targets have at least two cores, and a single
// analysis leaves the second idle; loops whose iterations touch only their
// own item hand their second half to a helper thread. Every item is still
// computed by the same code, so results do not depend on the split.
#pragma once

#include <cstddef>
#include <future>
#include <system_error>
#include <utility>

namespace zyn {

// Calls body(first, past) for [0, count / 2) on the calling thread and for
// [count / 2, count) on a helper thread when count reaches minimumToSplit
// (inline when no thread can be started). Exceptions of either half reach
// the caller.
template <class Body>
void for_each_in_two_halves(std::size_t count, std::size_t minimumToSplit, Body&& body) {
  if (count < minimumToSplit || count < 2) {
    body(std::size_t{0}, count);
    return;
  }
  const std::size_t middle = count / 2;
  std::future<void> secondHalf;
  try {
    secondHalf = std::async(std::launch::async, [&body, middle, count] { body(middle, count); });
  } catch (const std::system_error&) {
    body(std::size_t{0}, count);
    return;
  }
  body(std::size_t{0}, middle);
  secondHalf.get();
}

}  // namespace zyn
