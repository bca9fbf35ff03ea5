#pragma once

#include <string>

namespace ztk::torture {

/// A line of a run as it is in every run: without addresses, descriptors, process ids and random digits; line
/// ends are written as in C.
std::string NormalForm(const std::string& line);

}  // namespace ztk::torture
