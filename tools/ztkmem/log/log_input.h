// The bytes of a log.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

namespace ztkmem::log {

/// Hands the bytes of a file, or of standard input for "-", to @p take, and tells of its progress on standard
/// error when that takes long. Throws std::runtime_error.
void ReadLog(const std::string& file, const std::function<void(std::string_view)>& take);

}  // namespace ztkmem::log
