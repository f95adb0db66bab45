#include "Message.h"

#include <gtest/gtest.h>

#include "MessageCodes.h"

// Codes are the program's own four-character constants: their numbers must not change.
TEST(MessageTest, FourCharacterCodesPackLikeMultiCharacterConstants) {
    EXPECT_EQ(FourCC("AddW"), 0x41646457u);
    static_assert(FourCC("_QRQ") == kQuitRequested);
    // Bytes above 127 must not sign-extend into the neighbouring bytes.
    EXPECT_EQ(FourCC("\xFF\x01\x02\x03"), 0xFF010203u);
}
