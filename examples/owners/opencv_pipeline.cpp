// cv::Mat headers over blocks of the pools: OpenCV works on the pools' memory, and once the pipeline runs, no
// frame makes anybody allocate pixels: not OpenCV, not the pools, not the board's library.
#include <ztk_rockit_standin.h>

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#include <utility>
#include <ztk_common.hpp>

namespace {

constexpr int kWidth = 640;
constexpr int kHeight = 480;

std::atomic<int> g_nLargeBlocks{0};

}  // namespace

extern "C" void* __libc_malloc(std::size_t nBytes);

/// Takes the C library's place for the whole process, to count what is as large as a picture.
// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name): the C library's name is reserved
extern "C" void* malloc(std::size_t nBytes) {
    if (nBytes >= std::size_t{kWidth} * kHeight) ++g_nLargeBlocks;
    return __libc_malloc(nBytes);
}

namespace {

/// A picture whose pixels lie in a block; the Mat owns nothing.
class Picture {
  public:
    Picture(int nType, ztk::MemoryType enType)
        : block_(std::size_t{kWidth} * kHeight * CV_ELEM_SIZE(nType), enType, 64),
          mat_(kHeight, kWidth, nType, block_.Data()) {}

    cv::Mat& Mat() { return mat_; }

    /// OpenCV gives a result memory of its own where the header does not fit it.
    bool IsInBlock() const { return mat_.data == reinterpret_cast<const uchar*>(block_.Data()); }

  private:
    ztk::Block block_;
    cv::Mat mat_;
};

/// Counts what OpenCV allocates for itself.
class CountingAllocator : public cv::MatAllocator {
  public:
    cv::UMatData* allocate(int nDims, const int* pSizes, int nType, void* pData, size_t* pSteps,
                           cv::AccessFlag enFlags, cv::UMatUsageFlags enUsage) const override {
        if (pData == nullptr) ++nCount_;
        return pPlain_->allocate(nDims, pSizes, nType, pData, pSteps, enFlags, enUsage);
    }
    bool allocate(cv::UMatData* pData, cv::AccessFlag enFlags, cv::UMatUsageFlags enUsage) const override {
        return pPlain_->allocate(pData, enFlags, enUsage);
    }
    void deallocate(cv::UMatData* pData) const override { pPlain_->deallocate(pData); }

    int Count() const { return nCount_; }

  private:
    cv::MatAllocator* pPlain_ = cv::Mat::getStdAllocator();
    mutable int nCount_ = 0;
};

std::uint64_t MmzAllocations() {
    ZtkRockitCounters counters;
    ZtkRockitGetCounters(&counters);
    return counters.nAllocs;
}

/// One frame: captured into MMZ, made gray, compared with the one before, thresholded. The count of pixels
/// that changed.
int Process(int nFrame, Picture& before) {
    Picture captured(CV_8UC3, ztk::MemoryType::kMmz);
    captured.Mat().setTo(cv::Scalar(20, 20, 20));
    cv::rectangle(captured.Mat(), cv::Rect(nFrame % 500, 100, 100, 100), cv::Scalar(220, 220, 220),
                  cv::FILLED);

    Picture gray(CV_8UC1, ztk::MemoryType::kHeap);
    Picture changed(CV_8UC1, ztk::MemoryType::kHeap);
    cv::cvtColor(captured.Mat(), gray.Mat(), cv::COLOR_BGR2GRAY);
    cv::absdiff(gray.Mat(), before.Mat(), changed.Mat());
    cv::threshold(changed.Mat(), changed.Mat(), 50, 255, cv::THRESH_BINARY);
    const bool bInPlace = captured.IsInBlock() && gray.IsInBlock() && changed.IsInBlock();
    const int nChanged = bInPlace ? cv::countNonZero(changed.Mat()) : -1;
    before = std::move(gray);
    return nChanged;
}

void Show() {
    cv::setNumThreads(1);
    CountingAllocator counting;
    cv::Mat::setDefaultAllocator(&counting);

    Picture before(CV_8UC1, ztk::MemoryType::kHeap);
    before.Mat().setTo(cv::Scalar(20));
    for (int nFrame = 0; nFrame < 3; ++nFrame)
        Process(nFrame, before);

    const int nOpenCv = counting.Count();
    const int nLarge = g_nLargeBlocks;
    const std::uint64_t nMmz = MmzAllocations();
    int nChanged = 0;
    for (int nFrame = 3; nFrame < 103; ++nFrame)
        nChanged += Process(nFrame, before);
    std::printf("100 frames, %d pixels changed\n", nChanged);
    std::printf("pictures that OpenCV allocated: %d\n", counting.Count() - nOpenCv);
    std::printf("MMZ blocks that the board's library allocated: %d\n",
                static_cast<int>(MmzAllocations() - nMmz));
    std::printf("blocks as large as a picture from malloc(): %d, before these frames %s\n",
                g_nLargeBlocks - nLarge, nLarge > 0 ? "some" : "none");
    cv::Mat::setDefaultAllocator(nullptr);
}

}  // namespace

int main() {
    try {
        Show();
        return 0;
    } catch (const std::exception& refusal) {
        std::fprintf(stderr, "%s\n", refusal.what());
        return 1;
    }
}
