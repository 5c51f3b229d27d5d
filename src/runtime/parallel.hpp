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
#include <type_traits>
#include <utility>

namespace zyn {

// Starts f on a helper thread when worthAThread and one can be started;
// otherwise f runs on the caller's thread at the first get().
template <class F>
auto start_alongside(bool worthAThread, F f) -> std::future<std::invoke_result_t<F>> {
  if (worthAThread) {
    try {
      return std::async(std::launch::async, f);
    } catch (const std::system_error&) {
    }
  }
  return std::async(std::launch::deferred, std::move(f));
}

// Calls body(first, past) for [0, count / 2) on the calling thread and for
// [count / 2, count) on a helper thread when count reaches minimumToSplit.
// Exceptions of either half reach the caller.
template <class Body>
void for_each_in_two_halves(std::size_t count, std::size_t minimumToSplit, Body&& body) {
  const std::size_t middle = count / 2;
  std::future<void> secondHalf =
      start_alongside(count >= minimumToSplit, [&body, middle, count] { body(middle, count); });
  body(std::size_t{0}, middle);
  secondHalf.get();
}

}  // namespace zyn
