#include "Message.h"

#include <gtest/gtest.h>

#include "MessageCodes.h"

TEST(MessageTest, FourCharacterCodesPackLikeMultiCharacterConstants) {
    EXPECT_EQ(FourCC("AddW"), 0x41646457u);
    EXPECT_EQ(FourCC("EndW"), 0x456E6457u);
    static_assert(FourCC("_QRQ") == kQuitRequested);
    // Bytes above 127 must not sign-extend into the neighbouring bytes.
    EXPECT_EQ(FourCC("\xFF\x01\x02\x03"), 0xFF010203u);
    EXPECT_NE(kQuitRequested, kAboutRequested);
    EXPECT_NE(kSimpleData, kRefsReceived);
}

TEST(MessageTest, FieldsAreFoundByNameAndType) {
    int target = 0;
    Message message(38);
    message.AddString("prompt", "/pub/linux")
        .AddInt32("count", -7)
        .AddBool("opt", true)
        .AddPointer("this", &target);

    EXPECT_EQ(message.what, 38u);
    EXPECT_EQ(message.FindString("prompt"), "/pub/linux");
    EXPECT_EQ(message.FindInt32("count"), -7);
    EXPECT_EQ(message.FindBool("opt"), true);
    EXPECT_EQ(message.FindPointer("this"), static_cast<void*>(&target));
    EXPECT_EQ(message.CountFields(), 4);

    // A missing name and a field of another type both come back empty.
    EXPECT_FALSE(message.FindString("Prompt").has_value());
    EXPECT_FALSE(message.FindInt32("prompt").has_value());
    EXPECT_FALSE(message.FindBool("count").has_value());
    EXPECT_FALSE(message.FindPointer("opt").has_value());
}

TEST(MessageTest, AddingANameAgainReplacesItAndCopiesAreIndependent) {
    Message message(2);
    message.AddString("prompt", "first").AddInt32("prompt", 5);
    EXPECT_EQ(message.CountFields(), 1);
    EXPECT_EQ(message.FindInt32("prompt"), 5);
    EXPECT_FALSE(message.FindString("prompt").has_value());

    Message copy = message;
    copy.AddInt32("prompt", 6).AddBool("extra", false);
    EXPECT_EQ(message.FindInt32("prompt"), 5);
    EXPECT_FALSE(message.HasField("extra"));
    EXPECT_EQ(copy.FindBool("extra"), false);
}
