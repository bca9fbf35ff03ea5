#include "platform/address_text.h"

#include <gmock/gmock.h>

namespace ztk {
namespace {

TEST(AddressText, IsLowerCaseHexadecimalWithoutPadding) {
    EXPECT_STREQ("0x0", AddressToString(0).szText);
    EXPECT_STREQ("0x1", AddressToString(1).szText);
    EXPECT_STREQ("0xabcdef", AddressToString(0xABCDEF).szText);
    EXPECT_STREQ("0x7f0012345678", AddressToString(0x7F0012345678).szText);
    EXPECT_STREQ("0xffffffffffffffff", AddressToString(UINT64_MAX).szText);
}

TEST(AddressText, IsMadeInABufferOf64Characters) {
    EXPECT_EQ(64U, sizeof(AddressText::szText));
}

}  // namespace
}  // namespace ztk
