// The viewer's side: opens each frame by name, looks at it, gives the name back.
#pragma once

#include <string>

#include "message.h"

namespace demo {

/// Serves frames until the camera ends it. Throws std::runtime_error with one line if the camera dies or
/// a frame cannot be opened. Pictures for the contact sheet go into @p folder.
void View(int nSocket, const std::string& folder);

}  // namespace demo
