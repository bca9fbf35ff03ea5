#include "video.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <stdexcept>

namespace demo {

namespace {

constexpr std::size_t kWidth = 960;
constexpr std::size_t kHeight = 540;

// Fixed dimensions, because raw frames on a pipe do not tell theirs.
const char* const kFilter = "fps=4,scale=960:540:force_original_aspect_ratio=decrease,pad=960:540:-1:-1";
const char* const kMaxFrames = "24";

std::array<int, 2> MakePipe() {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0)
        throw std::runtime_error(fmt::format("pipe: {}", std::strerror(errno)));
    return ends;
}

// ffmpeg with its output on nOutput and its complaints nowhere: the caller reports in one line.
pid_t StartFfmpeg(const std::string& path, int nOutput) {
    // "file:" keeps ffmpeg from taking a name for an option or an address.
    std::string input = "file:" + path;
    std::array<std::string, 15> words{"ffmpeg", "-nostdin", "-v",       "error",     "-i",
                                      input,    "-vf",      kFilter,    "-frames:v", kMaxFrames,
                                      "-f",     "rawvideo", "-pix_fmt", "rgb24",     "pipe:1"};
    std::array<char*, 16> arguments{};
    for (std::size_t i = 0; i < words.size(); ++i)
        arguments[i] = words[i].data();
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, nOutput, STDOUT_FILENO);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    pid_t nProcess = -1;
    const int nError = posix_spawnp(&nProcess, "ffmpeg", &actions, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (nError == ENOENT) {
        throw std::runtime_error(fmt::format(
            "{}: neither PNG nor JPEG; to decode it as a video, ffmpeg is needed and not installed", path));
    }
    if (nError != 0) throw std::runtime_error(fmt::format("ffmpeg: {}", std::strerror(nError)));
    return nProcess;
}

std::vector<Picture> ReadFrames(std::FILE* pStream) {
    std::vector<Picture> frames;
    for (;;) {
        Picture frame{kWidth, kHeight, std::vector<std::uint8_t>(kWidth * kHeight * 3)};
        if (std::fread(frame.rgb.data(), 1, frame.rgb.size(), pStream) != frame.rgb.size()) return frames;
        frames.push_back(std::move(frame));
    }
}

}  // namespace

std::vector<Picture> ReadVideo(const std::string& path) {
    const std::array<int, 2> ends = MakePipe();
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> stream(fdopen(ends[0], "rb"), &std::fclose);
    pid_t nProcess = -1;
    try {
        nProcess = StartFfmpeg(path, ends[1]);
    } catch (...) {
        close(ends[1]);
        throw;
    }
    close(ends[1]);
    std::vector<Picture> frames = ReadFrames(stream.get());
    int nStatus = 0;
    if (waitpid(nProcess, &nStatus, 0) != nProcess || nStatus != 0 || frames.empty()) {
        throw std::runtime_error(fmt::format("{}: neither PNG nor JPEG, and ffmpeg cannot decode it", path));
    }
    return frames;
}

}  // namespace demo
