#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <memory>
#include <stdexcept>

#include "command.h"
#include "describe.h"
#include "hex_dump.h"
#include "png_file.h"
#include "show_report.h"
#include "survey.h"
#include "text.h"

namespace ztkmem {
namespace {

constexpr std::size_t kDumpAtMost = 16UL * 1024 * 1024;

struct ShowOptions {
    std::string name;
    bool bHex = false;
    std::size_t nDump = 512;
    std::string shape;
    std::uint64_t nOffset = 0;
    bool bOffsetGiven = false;
    std::string output;
    bool bVouchedFor = false;
};

constexpr char kShowFooter[] =
    R"(FORMAT:WxH is gray8, rgb24, bgr24, nv12 or yuyv with width and height, rows without padding;
Y, U and V are BT.601 with limited range. The picture is read from behind the 128-byte header.
NAME may be given as ztkmem ls prints it, or as a path below /dev/shm.

Exit status: 0 the header is good, 1 it is not, 2 error.

Examples:
  ztkmem show ZTKTool-812-0123456789abcdef0123456789abcdef
  ztkmem show NAME --hex                      header and first data
  ztkmem show NAME --hex --offset 4096 --length 64
  ztkmem show NAME --as nv12:1920x1080 -o frame.png
  ztkmem show NAME --as gray8:640x480 --offset 307200 -o second.png)";

std::string FindName(const ShmDirectory& directory, const std::string& typed) {
    const std::vector<std::string> names = NamesMeant(typed);
    if (names.empty())
        throw std::runtime_error(fmt::format("\"{}\" cannot be a name in /dev/shm", Escape(typed)));
    for (const std::string& name : names) {
        if (directory.Look(name)) return name;
    }
    throw std::runtime_error(fmt::format("no object in /dev/shm is named \"{}\"", Escape(typed)));
}

ObjectFile OpenObject(const ShmDirectory& directory, const std::string& name) {
    ObjectFile file = directory.Open(name);
    if (file.IsOpen()) return file;
    // a link, a socket, or anything else that is no file
    const bool bOther = errno == ELOOP || errno == ENXIO || errno == EINVAL;
    throw std::runtime_error(
        fmt::format("{}: {}", Escape(name), bOther ? "not a shared-memory object" : std::strerror(errno)));
}

std::uint64_t PlaceInObject(std::uint64_t nOffset) {
    constexpr std::uint64_t kBeyondEverything = std::uint64_t{1} << 62U;
    return std::min(nOffset, kBeyondEverything) + kHeaderSize;
}

void PrintHex(const ShmDirectory& directory, const std::string& name, const ShowOptions& options) {
    const std::uint64_t nFirst = options.bOffsetGiven ? PlaceInObject(options.nOffset) : 0;
    const ObjectFile file = OpenObject(directory, name);
    const std::uint64_t nLength = file.Length();
    if (nFirst > nLength && options.bOffsetGiven) {
        throw std::runtime_error(fmt::format("{}: has no data offset {}, its length is {}", Escape(name),
                                             options.nOffset, nLength));
    }
    const auto bytes = file.Read(nFirst, options.nDump);
    fmt::print("\n{}", HexDump(bytes, nFirst));
    if (bytes.size() < options.nDump) fmt::print("(the object ends at {:#x})\n", nFirst + bytes.size());
}

/// False if the object ends before the row does.
bool ReadRow(const ObjectFile& file, std::uint64_t nFrame, const std::array<FrameSpan, 2>& spans,
             std::vector<std::uint8_t>& bytes) {
    bytes.clear();
    for (const FrameSpan& span : spans) {
        const auto part = file.Read(nFrame + span.nOffset, span.nLength);
        if (part.size() < span.nLength) return false;
        bytes.insert(bytes.end(), part.begin(), part.end());
    }
    return true;
}

/// A frame as it stands at this moment; its owner may be writing it.
void SavePicture(const ShmDirectory& directory, const std::string& name, const PictureShape& shape,
                 const ShowOptions& options) {
    const ObjectFile file = OpenObject(directory, name);
    const std::uint64_t nFirst = PlaceInObject(options.nOffset);
    const std::size_t nSize = FrameSize(shape);
    const std::uint64_t nLength = file.Length();
    // before any file is made for it
    if (nFirst > nLength || nLength - nFirst < nSize) {
        throw std::runtime_error(
            fmt::format("{}: {} takes {} bytes from data offset {} on, the object has {}", Escape(name),
                        options.shape, nSize, options.nOffset, nLength > nFirst ? nLength - nFirst : 0));
    }
    PngFile png(options.output, shape);
    std::vector<std::uint8_t> bytes;
    for (std::size_t nRow = 0; nRow < shape.nHeight; ++nRow) {
        if (!ReadRow(file, nFirst, RowSpans(shape, nRow), bytes))
            throw std::runtime_error(fmt::format("{}: was shortened meanwhile", Escape(name)));
        png.AddRow(bytes);
    }
    png.Finish();
    fmt::print("\nwritten: {}\n", ForTerminal(Escape(options.output)));
}

int RunShow(const ShowOptions& options) {
    PictureShape shape;
    if (!options.shape.empty()) shape = ParsePictureShape(options.shape);
    const ShmDirectory directory;
    const std::string name = FindName(directory, options.name);
    ProcessTable processes = ReadProcesses(Mappings::kRead, directory.Device());
    processes.visibility.bVouchedFor = options.bVouchedFor;
    const auto segment = LookAtSegment(directory, name, processes);
    if (!segment) throw std::runtime_error(fmt::format("{}: has just vanished", Escape(name)));
    fmt::print("{}", ForTerminal(ShowText(*segment, processes.nUnread)));
    if (options.bHex) PrintHex(directory, name, options);
    if (!options.shape.empty()) SavePicture(directory, name, shape, options);
    return segment->verdict.enState == HeaderState::kGood ? kExitFine : kExitSomethingFound;
}

/// The parser would take "-5" for a very large number.
std::string CheckNumber(const std::string& text) {
    const bool bDigit = !text.empty() && text.front() >= '0' && text.front() <= '9';
    return bDigit ? "" : fmt::format(R"("{}" is no number of bytes)", Escape(text));
}

void CheckOptions(const ShowOptions& options) {
    if (options.bOffsetGiven && !options.bHex && options.shape.empty())
        throw CLI::ValidationError("--offset", "goes with --hex or --as");
}

}  // namespace

void AddShow(CLI::App& program, int& nExitStatus) {
    auto pOptions = std::make_shared<ShowOptions>();
    CLI::App* pCommand =
        program.add_subcommand("show", "Show one segment: header, bytes, or the picture in it");
    pCommand->add_option("NAME", pOptions->name, "The object")->required()->type_name("");
    auto* pHex = pCommand->add_flag("--hex", pOptions->bHex, "Dump bytes, the header's first");
    pCommand->add_option("--length", pOptions->nDump, "Bytes to dump (512)")
        ->needs(pHex)
        ->check(CheckNumber)
        ->check(CLI::Range(std::size_t{1}, kDumpAtMost).description(""))
        ->type_name("N");
    auto* pAs = pCommand->add_option("--as", pOptions->shape, "What the frame is")->type_name("FORMAT:WxH");
    auto* pOffset = pCommand->add_option("--offset", pOptions->nOffset, "Start N bytes behind the header")
                        ->check(CheckNumber)
                        ->type_name("N");
    auto* pOutput =
        pCommand->add_option("-o,--output", pOptions->output, "PNG file to write")->type_name("FILE");
    pAs->needs(pOutput);
    pOutput->needs(pAs);
    AddNamespaceOption(*pCommand, pOptions->bVouchedFor);
    pCommand->footer(kShowFooter);
    pCommand->callback([pOptions, pOffset, &nExitStatus] {
        pOptions->bOffsetGiven = pOffset->count() != 0;
        CheckOptions(*pOptions);
        nExitStatus = RunShow(*pOptions);
    });
}

}  // namespace ztkmem
