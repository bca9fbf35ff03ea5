#include "viewer.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <numeric>
#include <vector>

#include "image_ops.h"
#include "thumbnail.h"
#include "ztk_shared_view.h"

namespace demo {

namespace {

// A frame in a block of the library's pool, for as long as this object lives.
class PoolView {
  public:
    explicit PoolView(const FrameMessage& frame) {
        const ZtkViewStatus enStatus = ZtkOpenSharedView(frame.szName, &view_);
        if (enStatus != ZTK_VIEW_OK) {
            throw std::runtime_error(fmt::format("{}: {}", frame.szName, ZtkViewStatusText(enStatus)));
        }
        // A reused block may be larger than the frame in it, never smaller.
        if (view_.nDataLen < frame.Size()) {
            ZtkCloseSharedView(&view_);
            throw std::runtime_error(fmt::format("{}: too small for frame {}", frame.szName, frame.nFrame));
        }
    }
    PoolView(const PoolView&) = delete;
    PoolView& operator=(const PoolView&) = delete;
    ~PoolView() { ZtkCloseSharedView(&view_); }

    const std::uint8_t* Pixels() const { return view_.pData; }

  private:
    ZtkSharedView view_{};
};

// A frame in an object that the camera made for it alone.
class PlainView {
  public:
    explicit PlainView(const FrameMessage& frame) : nSize_(frame.Size()) {
        const int nFile = shm_open(frame.szName, O_RDONLY, 0);
        if (nFile >= 0) pPixels_ = mmap(nullptr, nSize_, PROT_READ, MAP_SHARED, nFile, 0);
        if (nFile >= 0) close(nFile);
        if (pPixels_ == MAP_FAILED)
            throw std::runtime_error(fmt::format("{}: cannot be opened", frame.szName));
    }
    PlainView(const PlainView&) = delete;
    PlainView& operator=(const PlainView&) = delete;
    ~PlainView() { munmap(pPixels_, nSize_); }

    const std::uint8_t* Pixels() const { return static_cast<const std::uint8_t*>(pPixels_); }

  private:
    std::size_t nSize_;
    void* pPixels_ = MAP_FAILED;
};

void SaveHistogram(const std::string& path, const std::uint8_t* pRgb, std::size_t nPixels) {
    const Histogram histogram = CountValues(pRgb, nPixels);
    std::ofstream file(path);
    constexpr std::size_t kBin = 4;  // values together: the camera's gamma curve leaves gaps between them
    for (std::size_t i = 0; i < histogram[0].size(); i += kBin) {
        const auto sum = [&](std::size_t c) {
            return std::accumulate(&histogram[c][i], &histogram[c][i] + kBin, std::uint32_t{0});
        };
        file << fmt::format("{}\t{}\t{}\t{}\n", i, sum(0), sum(1), sum(2));
    }
    if (!file.flush()) throw std::runtime_error(fmt::format("{}: cannot be written", path));
}

class Viewer {
  public:
    explicit Viewer(std::string folder) : folder_(std::move(folder)) {}

    AnswerMessage LookAt(const FrameMessage& frame) {
        if (frame.kind == Kind::kFrame) return LookAt(frame, PoolView(frame).Pixels());
        return LookAt(frame, PlainView(frame).Pixels());
    }

  private:
    AnswerMessage LookAt(const FrameMessage& frame, const std::uint8_t* pPixels) {
        FindEdges(frame, pPixels);
        if (frame.nSheetRow != 0) Save(frame, pPixels);
        AnswerMessage answer;
        answer.nFrame = frame.nFrame;
        answer.bArrivedAsSent = CheckSum(pPixels, frame.Size()) == frame.nCheckSum ? 1 : 0;
        answer.nEdgePixels = static_cast<std::uint32_t>(
            std::count_if(edges_.begin(), edges_.end(), [](std::uint8_t nSteep) { return nSteep > 48; }));
        std::copy(std::begin(frame.szName), std::end(frame.szName), answer.szName);
        return answer;
    }

    void FindEdges(const FrameMessage& frame, const std::uint8_t* pPixels) {
        const std::size_t nPixels = std::size_t{frame.nWidth} * frame.nHeight;
        edges_.resize(nPixels);
        if (frame.format == Format::kRgb) {
            gray_.resize(nPixels);
            Gray(pPixels, nPixels, gray_.data());
            pPixels = gray_.data();
        }
        Edges(pPixels, frame.nWidth, frame.nHeight, edges_.data());
    }

    void Save(const FrameMessage& frame, const std::uint8_t* pPixels) const {
        const std::string prefix = fmt::format("{}/row{}", folder_, frame.nSheetRow);
        WriteThumbnail(prefix + "-received.png", pPixels, frame.nWidth, frame.nHeight,
                       static_cast<std::size_t>(frame.format));
        WriteThumbnail(prefix + "-viewer-edges.png", edges_.data(), frame.nWidth, frame.nHeight, 1);
        SaveHistogram(prefix + "-histogram.tsv", pPixels, std::size_t{frame.nWidth} * frame.nHeight);
    }

    std::string folder_;
    std::vector<std::uint8_t> gray_;
    std::vector<std::uint8_t> edges_;
};

}  // namespace

void View(int nSocket, const std::string& folder) {
    Viewer viewer(folder);
    std::uint64_t nSeen = 0;
    for (;;) {
        FrameMessage frame;
        if (!Receive(nSocket, frame)) {
            throw std::runtime_error(fmt::format("the camera is gone; {} frames were viewed", nSeen));
        }
        if (frame.kind == Kind::kEnd) return;
        if (!Send(nSocket, viewer.LookAt(frame))) {
            throw std::runtime_error(fmt::format("the camera is gone; {} frames were viewed", nSeen));
        }
        ++nSeen;
    }
}

}  // namespace demo
