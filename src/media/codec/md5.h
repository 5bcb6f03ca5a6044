#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace morvane {

// A running MD5. Threads: one at a time.
class Md5 {
 public:
  Md5();
  ~Md5();
  Md5(const Md5&) = delete;
  Md5& operator=(const Md5&) = delete;

  void Update(const void* data, size_t bytes);
  // The 32 lower-case hexadecimal digits of what was added since construction or the last Finish;
  // starts over.
  [[nodiscard]] std::string Finish();

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

[[nodiscard]] std::string Md5Of(const void* data, size_t bytes);

}  // namespace morvane
