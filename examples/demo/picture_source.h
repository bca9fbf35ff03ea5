// What stands before the camera: the pictures that the user gave, each in its own size and halved, so
// that frames of several sizes follow each other.
#pragma once

#include <string>
#include <vector>

#include "picture.h"

namespace demo {

class Scenes {
  public:
    /// Reads PNG and JPEG files and videos. Throws std::runtime_error with one line on the first bad one.
    explicit Scenes(const std::vector<std::string>& paths);

    /// The scene of a frame: picture 0, picture 0 halved, picture 1, ... and round again.
    const Picture& OfFrame(std::size_t nFrame) const { return scenes_[nFrame % scenes_.size()]; }
    /// The same among the halved ones.
    const Picture& HalvedOfFrame(std::size_t nFrame) const {
        return scenes_[2 * (nFrame % PictureCount()) + 1];
    }

    std::size_t PictureCount() const { return scenes_.size() / 2; }

    /// Numbers of the frames that the contact sheet shows: at most four pictures, evenly chosen.
    std::vector<std::size_t> SheetFrames() const;

  private:
    std::vector<Picture> scenes_;
};

}  // namespace demo
