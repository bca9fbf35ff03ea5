#pragma once

#include <cstdint>
#include <cstdio>

namespace ztk {

/// The text of an address; lives on the stack, so that it can be had when memory cannot.
struct AddressText {
    char szText[64];
};

/// "0x" and lower-case hexadecimal digits without padding; 0 gives "0x0".
inline AddressText AddressToString(std::uint64_t nAddress) {
    AddressText text;
    std::snprintf(text.szText, sizeof(text.szText), "0x%lx", nAddress);
    return text;
}

}  // namespace ztk
