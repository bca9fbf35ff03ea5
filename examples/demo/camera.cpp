#include "camera.h"

#include <fmt/format.h>

#include "camera_unit.h"
#include "image_ops.h"
#include "log_marks.h"
#include "stopwatch.h"

namespace demo {

namespace {

// So that the camera can work on the next frame while the viewer looks at the last ones.
constexpr std::size_t kMaxInFlight = 3;

}  // namespace

// Blocks still with a viewer that died, or that is told to end when something failed here.
Camera::~Camera() {
    for (const InFlight& frame : inFlight_)
        blocks_.GiveBack(frame.block);
}

void Camera::Take(const Picture& scene, Format format, std::size_t nFrame, std::uint32_t nSheetRow) {
    if (inFlight_.size() == kMaxInFlight) AwaitOldest();

    const std::size_t nPixels = scene.nWidth * scene.nHeight;
    const Block captured = CaptureBlock(memory_, nPixels * 3);
    CaptureFrame(scene, nSheetRow != 0 ? 0 : nFrame, captured.get());

    FrameMessage frame;
    frame.kind = blocks_.MessageKind();
    frame.format = format;
    frame.nWidth = static_cast<std::uint32_t>(scene.nWidth);
    frame.nHeight = static_cast<std::uint32_t>(scene.nHeight);
    frame.nFrame = nFrame;
    frame.nSheetRow = nSheetRow;

    const Block ready = WorkBlock(memory_, frame.Size());
    if (format == Format::kGray) {
        Gray(captured.get(), nPixels, ready.get());
    } else {
        Brighten(captured.get(), nPixels, ready.get());
    }
    Publish(frame, ready.get());
}

void Camera::Publish(FrameMessage& frame, const std::uint8_t* pPixels) {
    frame.nCheckSum = CheckSum(pPixels, frame.Size());
    const Stopwatch watch;
    const SharedBlock block = blocks_.Obtain(frame.Size());
    std::memcpy(block.pData, pPixels, frame.Size());
    usage_.spent += watch.Elapsed();
    inFlight_.push_back({frame.nFrame, block});
    MarkHeld(block.pStart);
    ++usage_.nFrames;
    usage_.names.insert(block.name.data());
    std::memcpy(frame.szName, block.name.data(), block.name.size());
    viewer_.Show(frame);
}

// The viewer answers in the order of the frames. Only one answer is awaited, even if more are there: so the
// same run makes the same requests of the pool each time.
void Camera::AwaitOldest() {
    const AnswerMessage answer = viewer_.WaitForAnswer();
    const InFlight oldest = inFlight_.front();
    if (answer.nFrame != oldest.nFrame || std::strcmp(answer.szName, oldest.block.name.data()) != 0) {
        throw std::runtime_error(
            fmt::format("the viewer gave back {} for frame {}", answer.szName, oldest.nFrame));
    }
    if (answer.bArrivedAsSent == 0) {
        throw std::runtime_error(fmt::format("frame {} did not arrive as it was sent", oldest.nFrame));
    }
    inFlight_.pop_front();
    GiveBack(oldest.block);
}

void Camera::GiveBack(const SharedBlock& block) {
    const Stopwatch watch;
    blocks_.GiveBack(block);
    usage_.spent += watch.Elapsed();
    MarkGivenBack(block.pStart);
}

void Camera::Drain() {
    while (!inFlight_.empty())
        AwaitOldest();
}

}  // namespace demo
