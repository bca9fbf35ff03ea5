// A program that logs through the stand-in libZTKSDKLogC.so in the ways that could tear or lose lines.
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "external/ztk_log.h"

namespace {

constexpr int kError = 4;

using Arguments = std::vector<int>;

bool EndedWell(pid_t nChild) {
    int nStatus = 0;
    while (waitpid(nChild, &nStatus, 0) < 0) {
        if (errno != EINTR) return false;
    }
    return WIFEXITED(nStatus) && WEXITSTATUS(nStatus) == 0;
}

int Levels(const Arguments& /*arguments*/) {
    for (int nLevel = 0; nLevel <= 4; ++nLevel)
        ZTK_LOG_WriteLog(nLevel, "level %d", nLevel);
    std::printf("%d\n", ZTK_LOG_GetLogLevel());
    return 0;
}

void WriteLines(int nProcess, int nThread, int nLines, int nFill) {
    const std::string szFill(static_cast<std::size_t>(nFill), static_cast<char>('a' + nThread));
    for (int i = 0; i < nLines; ++i) {
        ZTK_LOG_WriteLog(kError, "<%d.%d.%d %s>\r\n", nProcess, nThread, i, szFill.c_str());
    }
}

int StormProcess(int nProcess, const Arguments& arguments) {
    std::vector<std::thread> threads;
    threads.reserve(static_cast<std::size_t>(arguments.at(1)));
    for (int nThread = 0; nThread < arguments.at(1); ++nThread) {
        threads.emplace_back(WriteLines, nProcess, nThread, arguments.at(2), arguments.at(3));
    }
    for (std::thread& thread : threads)
        thread.join();
    return 0;
}

// Arguments: processes, threads in each, lines of each, fill bytes of a line.
int Storm(const Arguments& arguments) {
    std::vector<pid_t> children;
    for (int nProcess = 0; nProcess < arguments.at(0); ++nProcess) {
        const pid_t nChild = fork();
        if (nChild == 0) _exit(StormProcess(nProcess, arguments));
        children.push_back(nChild);
    }
    bool bGood = true;
    for (const pid_t nChild : children)
        bGood = EndedWell(nChild) && bGood;
    return bGood ? 0 : 1;
}

// Forks while three threads log without a pause; each child writes its line and ends.
int ForkInStorm(const Arguments& arguments) {
    std::atomic<bool> bStop{false};
    std::vector<std::thread> threads;
    threads.reserve(3);
    for (int nThread = 0; nThread < 3; ++nThread) {
        threads.emplace_back([&bStop, nThread] {
            while (!bStop)
                WriteLines(-1, nThread, 10, 100);
        });
    }
    bool bGood = true;
    for (int i = 0; i < arguments.at(0); ++i) {
        const pid_t nChild = fork();
        if (nChild == 0) {
            alarm(40);  // a child that inherited a lock hangs; this ends it
            WriteLines(i, 25, 1, 100);
            _exit(0);
        }
        bGood = EndedWell(nChild) && bGood;
    }
    bStop = true;
    for (std::thread& thread : threads)
        thread.join();
    return bGood ? 0 : 1;
}

class Latecomer {
  public:
    explicit Latecomer(const char* szName) : name_(szName) {}
    ~Latecomer() { ZTK_LOG_WriteLog(kError, "%s", name_); }
    Latecomer(const Latecomer&) = delete;
    Latecomer& operator=(const Latecomer&) = delete;

  private:
    const char* name_;
};

bool g_bLogAtTheVeryEnd = false;

__attribute__((destructor)) void AtTheVeryEnd() {
    if (g_bLogAtTheVeryEnd) ZTK_LOG_WriteLog(kError, "destructor function");
}

int LogWhileExiting(const Arguments& /*arguments*/) {
    static const Latecomer latecomer("static object");
    if (std::atexit([] { ZTK_LOG_WriteLog(kError, "atexit handler"); }) != 0) return 1;
    g_bLogAtTheVeryEnd = true;
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    static const std::map<std::string, int (*)(const Arguments&)> kCommands = {
        {"levels", Levels}, {"storm", Storm}, {"fork", ForkInStorm}, {"exit", LogWhileExiting}};
    Arguments arguments;
    for (int i = 2; i < argc; ++i)
        arguments.push_back(std::stoi(argv[i]));
    const auto command = argc < 2 ? kCommands.end() : kCommands.find(argv[1]);
    return command == kCommands.end() ? 64 : command->second(arguments);
}
