#pragma once

// Processes and waiting, for the end-to-end tiers (X11, Wayland): programs run to their
// end, children ended with their object, conditions polled until they hold.

#include <sys/types.h>

#include <chrono>
#include <functional>
#include <string>
#include <vector>

namespace tarn::testing {

using namespace std::chrono_literals;

// Polls the condition (every 5 ms) until it holds or the time is up; its last answer.
bool eventually(const std::function<bool()>& condition, std::chrono::milliseconds limit = 5s);

struct Output {
    int status = -1;
    std::string out;
};
// Runs a program to its end (killed after 10 s), with what it wrote to standard output.
// `input`, when not empty, is its standard input.
Output run(const std::vector<std::string>& argv, const std::string& input = "");

// A child process, ended (SIGTERM, then waited for) with the object.
class Child {
  public:
    explicit Child(const std::vector<std::string>& argv);
    ~Child() { kill(); }
    Child(Child&& other) noexcept : pid_(other.pid_) { other.pid_ = -1; }
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;
    pid_t pid() const { return pid_; }
    void kill();

  private:
    pid_t pid_ = -1;
};

}  // namespace tarn::testing
