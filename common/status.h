// The status codes of the public header, for every layer.
#pragma once

#include <cstdint>

#include "common/ztk_common.h"

namespace ztk {

using Status = std::uint32_t;

}  // namespace ztk
