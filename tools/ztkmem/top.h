// The live view. Two files supply it: one on ncurses, one that says that this build has none.
#pragma once

namespace ztkmem {

/// Returns the exit status when the user ends it. A signal that ends it ends the process, after the terminal
/// is as it was. Throws std::runtime_error with one line.
int RunTop(bool bVouchedFor);

}  // namespace ztkmem
