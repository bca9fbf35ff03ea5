// The system's available memory, as the test says.
#pragma once

#include <cstdint>

namespace ztk::test {

/// While one exists, GetMemAvailable_Linux() gives its figure to every other file of the product.
class AvailableMemory {
  public:
    explicit AvailableMemory(std::uint64_t nBytes);
    ~AvailableMemory();
    AvailableMemory(const AvailableMemory&) = delete;
    AvailableMemory& operator=(const AvailableMemory&) = delete;
};

}  // namespace ztk::test
