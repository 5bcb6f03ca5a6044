#pragma once

#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "base/message_hook.h"

namespace morvane::test {

// While one lives, modal messages are recorded instead of shown.
class MessageRecorder {
 public:
  struct Message {
    std::string caption;
    std::string text;
    bool operator==(const Message&) const = default;
  };

  MessageRecorder() { SetMessageHook(Record, this); }
  ~MessageRecorder() { SetMessageHook(nullptr, nullptr); }
  MessageRecorder(const MessageRecorder&) = delete;
  MessageRecorder& operator=(const MessageRecorder&) = delete;

  // What was shown since the last call, oldest first.
  [[nodiscard]] std::vector<Message> Take() {
    std::lock_guard lock(mutex_);
    return std::exchange(messages_, {});
  }

 private:
  static void Record(void* self, const char* caption, const char* text) {
    auto* recorder = static_cast<MessageRecorder*>(self);
    std::lock_guard lock(recorder->mutex_);
    recorder->messages_.push_back({caption, text});
  }

  std::mutex mutex_;
  std::vector<Message> messages_;
};

}  // namespace morvane::test
