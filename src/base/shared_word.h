#pragma once

#include <atomic>

namespace morvane {

// A word that threads share without a lock: one writer, any number of readers.
// Only acquire loads and release stores, so that what was written before Set() is seen after Get().
// There is deliberately no read-modify-write: the single writer does Set(Get() + 1).
template <typename T>
class SharedWord {
 public:
  constexpr SharedWord() noexcept : value_{} {}
  constexpr explicit SharedWord(T value) noexcept : value_(value) {}
  SharedWord(const SharedWord&) = delete;
  SharedWord& operator=(const SharedWord&) = delete;

  [[nodiscard]] T Get() const noexcept { return value_.load(std::memory_order_acquire); }
  void Set(T value) noexcept { value_.store(value, std::memory_order_release); }

 private:
  static_assert(std::atomic<T>::is_always_lock_free);
  std::atomic<T> value_;
};

}  // namespace morvane
