// The viewer as a child process, and the camera's end of the socket to it.
#pragma once

#include <sys/types.h>

#include <string>

#include "message.h"

namespace demo {

class ViewerProcess {
  public:
    /// Starts the viewer program. Throws if it cannot be started.
    ViewerProcess(const std::string& program, const std::string& folder);
    ViewerProcess(const ViewerProcess&) = delete;
    ViewerProcess& operator=(const ViewerProcess&) = delete;
    /// Tells a viewer that still runs to end, and waits for it.
    ~ViewerProcess();

    /// Both throw std::runtime_error if the viewer is gone.
    void Show(const FrameMessage& frame);
    AnswerMessage WaitForAnswer();

    /// Lets the viewer end by itself. Throws if it does not end well.
    void End();

    pid_t Id() const { return nProcess_; }

  private:
    std::runtime_error Gone();

    int nSocket_ = -1;
    pid_t nProcess_ = -1;
};

}  // namespace demo
