// The least that a block in a list is.
#pragma once

#include <cstdint>

namespace ztk::test {

struct ListedRecord {
    std::uint64_t nAddress = 0;
    std::uint64_t nSize = 0;
    bool bBusy = false;
};

inline std::uint64_t AddressOf(const ListedRecord& record) {
    return record.nAddress;
}

}  // namespace ztk::test
