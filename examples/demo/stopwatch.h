#pragma once

#include <chrono>

namespace demo {

class Stopwatch {
  public:
    std::chrono::nanoseconds Elapsed() const { return std::chrono::steady_clock::now() - start_; }

  private:
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

inline double Seconds(std::chrono::nanoseconds time) {
    return std::chrono::duration<double>(time).count();
}
inline double Microseconds(std::chrono::nanoseconds time) {
    return std::chrono::duration<double, std::micro>(time).count();
}

}  // namespace demo
