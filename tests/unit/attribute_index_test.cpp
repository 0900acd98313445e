#include "project/attribute_index.h"

#include <gtest/gtest.h>

TEST(FnvHash, ThirtyTwoBitFnv1aOverBytesSignExtendedFromHexEighty) {
  EXPECT_EQ(FnvHash()(""), 2166136261u);
  EXPECT_EQ(FnvHash()("a"), 0xE40C292Cu);
  EXPECT_EQ(FnvHash()("\xff"), 0xF9F3A14Eu);       // zero-extended: (2166136261 ^ 0xFF) * 16777619
  EXPECT_EQ(FnvHash()("a\x80\x62"), 0xC2A8D552u);  // "a", 0x80, "b"
}
