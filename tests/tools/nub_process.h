#pragma once

#include <cstdint>
#include <string>

namespace morvane::test {

// morvane-nub as a process of its own, on a port that the system chose.
class NubProcess {
 public:
  // Starts `morvane-nub arguments...`, with port 0 unless they name one (`before` goes in front of
  // it on the shell's line), and waits for the line that tells where it serves.
  explicit NubProcess(const std::string& arguments = "", const std::string& before = "");
  ~NubProcess();  // kills it if it still runs
  NubProcess(const NubProcess&) = delete;
  NubProcess& operator=(const NubProcess&) = delete;

  // 0 when it does not serve; what it said is then in Errors().
  [[nodiscard]] uint16_t Port() const { return port_; }
  // Makes the clients of this process, and of those that it starts, use this server.
  void BecomeTheServer() const;
  void Signal(int number) const;
  // Waits for its end. Returns: the exit code, 128 + n after signal n.
  int Wait();
  [[nodiscard]] std::string Errors() const;  // its standard error so far

 private:
  int pid_ = -1;
  uint16_t port_ = 0;
  std::string errorFile_;
};

}  // namespace morvane::test
