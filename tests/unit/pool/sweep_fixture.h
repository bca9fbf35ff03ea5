// A private /dev/shm to be swept, and processes for its entries to belong to.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <string>

#include "log_texts.h"
#include "support/system_calls.h"

namespace ztk::test {

/// A process that has ended. Its id is free again, or with @p bReap false still that of a zombie.
class EndedProcess {
  public:
    explicit EndedProcess(bool bReap = true);
    ~EndedProcess();
    EndedProcess(const EndedProcess&) = delete;
    EndedProcess& operator=(const EndedProcess&) = delete;
    std::string Id() const { return std::to_string(nProcess_); }

  private:
    pid_t nProcess_;
    bool bReaped_;
};

/// A process that lives as long as this.
class LiveProcess {
  public:
    LiveProcess();
    ~LiveProcess();
    LiveProcess(const LiveProcess&) = delete;
    LiveProcess& operator=(const LiveProcess&) = delete;
    std::string Id() const { return std::to_string(nProcess_); }

  private:
    int pipe_[2] = {-1, -1};
    pid_t nProcess_;
};

class SegmentSweepTest : public ::testing::Test {
  protected:
    SegmentSweepTest();
    ~SegmentSweepTest() override;

    static std::string Path(const std::string& name) { return "/dev/shm/" + name; }
    static std::string OwnId();

    /// Puts a regular file there.
    static void Put(const std::string& name);

    /// The names there as the system lists them, dot entries included.
    static std::vector<std::string> InDirectoryOrder();

    static std::string Found(const std::string& name, int nType) {
        return Plain(1, "ReleaseMemoryRes", 696,
                     "ReleaseMemoryRes  find SHM Name[" + name + "],Type[" + std::to_string(nType) + "]");
    }
    static std::string NotRegular(const std::string& name, int nType) {
        return Plain(4, "ReleaseMemoryRes", 739,
                     "SHM File Type=" + std::to_string(nType) + ", Name = " + name);
    }
    static std::string NotNormal(const std::string& name) {
        return Plain(3, "ReleaseMemoryRes", 730,
                     "ReleaseMemoryRes FileName[" + name + "],Type[1] is not normal file");
    }

    /// Sweeps, and expects the line of every entry in the directory's order, each followed by what @p further
    /// has for its name and no other.
    void Sweep(const std::map<std::string, std::string>& further = {});

    static int TypeOf(const std::string& name);
    static std::size_t OpenDescriptors();
};

}  // namespace ztk::test
