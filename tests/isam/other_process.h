// Another process with a handle of its own, for what processes do to each other. It must be made
// before this process opens the file, and does what it is told.
#pragma once

#include <isam.h>
#include <isam_ext.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <string>

#include "isam/support.h"

namespace isam_test {

class OtherProcess {
 public:
  enum class Do : int { kOpen, kClose, kRead, kWrite, kDelete, kPid, kUnique, kLock, kRelease };

  OtherProcess(std::string file, std::size_t record_length)
      : file_(std::move(file)), length_(record_length) {
    if (pipe(orders_.data()) != 0 || pipe(answers_.data()) != 0) std::abort();
    child_ = fork();
    if (child_ == 0) Obey();
    close(orders_[0]);
    close(answers_[1]);
  }
  ~OtherProcess() {
    close(orders_[1]);
    waitpid(child_, nullptr, 0);
    close(answers_[0]);
  }
  OtherProcess(const OtherProcess&) = delete;
  OtherProcess& operator=(const OtherProcess&) = delete;

  void Begin(Do what, int argument = 0, int key = 0) {
    const Order order{what, argument, key};
    if (write(orders_[1], &order, sizeof order) != sizeof order) std::abort();
  }
  // Whether the answer comes within a time.
  bool Answers(int milliseconds) {
    pollfd wait{answers_[0], POLLIN, 0};
    return poll(&wait, 1, milliseconds) == 1;
  }
  // The answer: the call's error number, 0 for none; -1 when it does not come.
  int Answer() {
    constexpr int kPatience = 20000;
    int answer = -1;
    if (!Answers(kPatience) || read(answers_[0], &answer, sizeof answer) != sizeof answer)
      return -1;
    return answer;
  }
  int Now(Do what, int argument = 0, int key = 0) {
    Begin(what, argument, key);
    return Answer();
  }
  [[nodiscard]] int pid() const { return static_cast<int>(child_); }

 private:
  struct Order {
    Do what;
    int argument, key;
  };

  [[noreturn]] void Obey() {
    close(orders_[1]);
    close(answers_[0]);
    Order order{};
    while (read(orders_[0], &order, sizeof order) == sizeof order) {
      const int answer = Carry(order);
      if (write(answers_[1], &answer, sizeof answer) != sizeof answer) break;
    }
    _exit(0);
  }
  int Carry(const Order& order) {
    std::string record = Record(order.key, length_);
    std::int32_t identifier = 0;
    int result = 0;
    switch (order.what) {
      case Do::kOpen:
        handle_ = isopen(file_.c_str(), order.argument);
        result = handle_ < 0 ? -1 : 0;
        break;
      case Do::kClose:
        result = isclose(handle_);
        break;
      case Do::kRead:
        result = isread(handle_, record.data(), order.argument);
        break;
      case Do::kWrite:
        result = iswrite(handle_, record.data());
        break;
      case Do::kDelete:
        result = isdelete(handle_, record.data());
        break;
      case Do::kPid:
        return ispid;
      case Do::kUnique:
        result = isuniqueid(handle_, &identifier);
        return result == 0 ? identifier : -1;
      case Do::kLock:
        result = islockrec(handle_, order.key, 0);
        break;
      case Do::kRelease:
        result = isrelrec(handle_, order.key);
        break;
    }
    return result == 0 ? 0 : iserrno;
  }

  std::string file_;
  std::size_t length_;
  int handle_ = -1;
  pid_t child_ = 0;
  std::array<int, 2> orders_{}, answers_{};
};

}  // namespace isam_test
