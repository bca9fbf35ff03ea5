// How often a test repeats what goes wrong only now and then.
#pragma once

#include <algorithm>

namespace ztk::test {

/// The full number in plain builds. With a sanitizer every round takes 5 to 20 times as long, and finds at
/// once what plain builds need many rounds for: there it is one in ZTK_ROUNDS_DIVISOR (see CMakeLists.txt).
constexpr int Rounds(int nFull) {
    return std::max(1, nFull / ZTK_ROUNDS_DIVISOR);
}

}  // namespace ztk::test
