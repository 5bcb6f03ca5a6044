#include "simulator/nub_painter.h"

#include <utility>

#include "base/system.h"

namespace morvane {

NubPainter::NubPainter(std::function<void()> done)
    : done_(std::move(done)), thread_([this] { Run(); }) {}

NubPainter::~NubPainter() {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    ending_ = true;
  }
  wake_.notify_one();
  thread_.join();
}

std::future<bool> NubPainter::Draw(std::function<bool()> drawing) {
  std::packaged_task<bool()> task(std::move(drawing));
  std::future<bool> result = task.get_future();
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    queue_.push_back(std::move(task));
  }
  wake_.notify_one();
  return result;
}

void NubPainter::Run() {
  NxBlockProcessSignals();
  for (;;) {
    std::packaged_task<bool()> task;
    {
      std::unique_lock<std::mutex> lock(mutex_);
      wake_.wait(lock, [this] { return ending_ || !queue_.empty(); });
      if (ending_) return;
      task = std::move(queue_.front());
      queue_.pop_front();
    }
    task();
    done_();
  }
}

}  // namespace morvane
