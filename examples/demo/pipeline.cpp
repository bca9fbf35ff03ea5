#include "pipeline.h"

#include "camera_unit.h"
#include "image_ops.h"

namespace demo {

void ProcessFrame(Memory& memory, const Picture& scene, std::size_t nFrame,
                  const std::function<void(const Stages&)>& onStages) {
    const std::size_t nWidth = scene.nWidth;
    const std::size_t nHeight = scene.nHeight;
    const std::size_t nPixels = nWidth * nHeight;
    const std::size_t nRadius = 2 + nWidth / 150;

    const Block captured = CaptureBlock(memory, nPixels * 3);
    CaptureFrame(scene, nFrame, captured.get());

    const Block gray = WorkBlock(memory, nPixels);
    Gray(captured.get(), nPixels, gray.get());

    Block rows = WorkBlock(memory, nPixels);
    BlurRows(gray.get(), nWidth, nHeight, nRadius, rows.get());
    const Block blurred = WorkBlock(memory, nPixels);
    BlurColumns(rows.get(), nWidth, nHeight, nRadius, blurred.get());
    rows.reset();  // the next block of this size is this one again

    const Block edges = WorkBlock(memory, nPixels);
    Edges(gray.get(), nWidth, nHeight, edges.get());

    const Block half = WorkBlock(memory, (nWidth / 2) * (nHeight / 2) * 3);
    Halve(captured.get(), nWidth, nHeight, half.get());

    if (onStages) {
        onStages({nWidth, nHeight, captured.get(), gray.get(), blurred.get(), edges.get(), half.get()});
    }
}

}  // namespace demo
