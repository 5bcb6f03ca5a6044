#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <future>
#include <mutex>
#include <thread>

namespace morvane {

// Draws test patterns for the clients of the nub server, one after the other on a thread of its
// own: the slow ones take longer than the other clients should have to wait.
// Threads: Draw() from any; the rest on the owner's.
class NubPainter {
 public:
  // `done` is called on the painter's thread after each drawing; its result can be had by then.
  explicit NubPainter(std::function<void()> done);
  // Finishes the drawing that it is at; those behind it never become ready.
  ~NubPainter();
  NubPainter(const NubPainter&) = delete;
  NubPainter& operator=(const NubPainter&) = delete;

  // Has `drawing` called after those before it. It should cost nothing once nobody wants its
  // result. Returns: where its result will be.
  [[nodiscard]] std::future<bool> Draw(std::function<bool()> drawing);

 private:
  void Run();

  const std::function<void()> done_;
  std::mutex mutex_;
  std::condition_variable wake_;
  std::deque<std::packaged_task<bool()>> queue_;  // under the mutex
  bool ending_ = false;                           // under the mutex
  std::thread thread_;
};

}  // namespace morvane
