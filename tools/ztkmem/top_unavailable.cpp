#include <stdexcept>

#include "top.h"

namespace ztkmem {

int RunTop(bool /*bVouchedFor*/) {
    throw std::runtime_error(
        "this build has no top: it was made without ncurses (ztkmem ls shows the same, once)");
}

}  // namespace ztkmem
