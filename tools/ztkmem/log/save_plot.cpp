// A plot's way into its file. Unlike the rest of plotting it touches the system.
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <stdexcept>

#include "log/plot.h"
#include "text.h"

namespace ztkmem::log {
namespace {

bool EndsIn(const std::string& file, std::string_view ending) {
    return file.size() > ending.size() &&
           file.compare(file.size() - ending.size(), ending.size(), ending) == 0;
}

bool HasGnuplot() {
    const char* szPath = std::getenv("PATH");
    std::string path = szPath == nullptr ? "" : szPath;
    for (std::size_t nAt = 0; nAt < path.size();) {
        const std::size_t nEnd = std::min(path.find(':', nAt), path.size());
        if (nEnd > nAt && access((path.substr(nAt, nEnd - nAt) + "/gnuplot").c_str(), X_OK) == 0) return true;
        nAt = nEnd + 1;
    }
    return false;
}

/// A gnuplot that ends early must not end this program, too.
class PipeErrors {
  public:
    PipeErrors() : before_(std::signal(SIGPIPE, SIG_IGN)) {}
    ~PipeErrors() { std::signal(SIGPIPE, before_); }
    PipeErrors(const PipeErrors&) = delete;
    PipeErrors& operator=(const PipeErrors&) = delete;

  private:
    void (*before_)(int);
};

bool RunGnuplot(const std::string& script) {
    const PipeErrors ignored;
    FILE* pPipe =
        popen("gnuplot -d >/dev/null 2>&1", "w");  // NOLINT(cert-env33-c): a fixed text, no input in it
    if (pPipe == nullptr) return false;
    const bool bWritten = std::fwrite(script.data(), 1, script.size(), pPipe) == script.size();
    return pclose(pPipe) == 0 && bWritten;
}

bool WriteFile(const std::string& file, const std::string& text) {
    std::ofstream stream(file, std::ios::binary);
    stream << text;
    stream.close();
    return stream.good();
}

/// Takes the unfinished picture away unless it has become the real one.
class Unfinished {
  public:
    explicit Unfinished(const std::string& file)
        : name_(fmt::format("{}.{}.part", file, getpid())), file_(file) {}
    ~Unfinished() { std::remove(name_.c_str()); }
    Unfinished(const Unfinished&) = delete;
    Unfinished& operator=(const Unfinished&) = delete;

    const std::string& Name() const { return name_; }
    bool Keep() const {
        struct stat facts {};
        return stat(name_.c_str(), &facts) == 0 && facts.st_size > 0 &&
               std::rename(name_.c_str(), file_.c_str()) == 0;
    }

  private:
    const std::string name_;
    const std::string file_;
};

[[noreturn]] void Refuse(const std::string& file, int nError) {
    throw std::runtime_error(fmt::format("{}: {}", Escape(file), std::strerror(nError)));
}

void CheckPlace(const std::string& file) {
    const std::size_t nSlash = file.rfind('/');
    const std::string folder = nSlash == std::string::npos ? "." : file.substr(0, nSlash + 1);
    struct stat facts {};
    if (stat(folder.c_str(), &facts) != 0 || access(folder.c_str(), W_OK | X_OK) != 0) Refuse(file, errno);
    if (stat(file.c_str(), &facts) == 0 && S_ISDIR(facts.st_mode)) Refuse(file, EISDIR);
}

}  // namespace

void CheckPlotFile(const std::string& file) {
    const bool bPng = EndsIn(file, ".png");
    if (!bPng && !EndsIn(file, ".svg"))
        throw std::runtime_error(fmt::format("{}: the plot's name must end in .svg or .png", Escape(file)));
    if (bPng && !HasGnuplot())
        throw std::runtime_error(fmt::format(
            "{}: a .png is drawn by gnuplot, which is not installed; .svg needs none", Escape(file)));
    CheckPlace(file);
}

void SavePlot(const Plot& plot, const std::string& file) {
    CheckPlotFile(file);
    const bool bPng = EndsIn(file, ".png");
    const Unfinished picture(file);
    const bool bDrawn =
        HasGnuplot() && RunGnuplot(GnuplotScript(plot, picture.Name(), bPng)) && picture.Keep();
    if (bDrawn) return;
    if (bPng) throw std::runtime_error(fmt::format("{}: gnuplot cannot draw it there", Escape(file)));
    if (!WriteFile(picture.Name(), DrawSvg(plot)) || !picture.Keep()) Refuse(file, errno);
}

}  // namespace ztkmem::log
