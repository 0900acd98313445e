// The hash of the attribute index: 32-bit FNV-1a over sign-extended bytes.
#include "project/attribute_index.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

namespace {

// FNV-1a as the index defines it, one byte at a time.
std::uint32_t fnvByHand(const std::string& key) {
  std::uint32_t hash = 2166136261u;
  for (char c : key) {
    auto byte = static_cast<unsigned char>(c);
    std::uint32_t contribution = byte < 0x80 ? byte : (0xFFFFFF00u | byte);
    hash = (hash ^ contribution) * 16777619u;
  }
  return hash;
}

std::size_t hashOf(const std::string& key) { return FnvHash()(key); }

TEST(FnvHash, KnownValues) {
  EXPECT_EQ(hashOf(""), 2166136261u);
  EXPECT_EQ(hashOf("a"), 0xE40C292Cu);
  EXPECT_EQ(hashOf("model"), 0xB08B665Au);
}

TEST(FnvHash, BytesFromHexEightyUpAreSignExtended) {
  EXPECT_EQ(hashOf("\x80"), 0x04F3B29Fu);
  EXPECT_EQ(hashOf("\xff"), 0xF9F3A14Eu);
  EXPECT_EQ(hashOf("a\x80"
                   "b"),
            0xC2A8D552u);
  // Zero-extension would give another value.
  EXPECT_NE(hashOf("\xff"), (2166136261u ^ 0xFFu) * 16777619u);
}

TEST(FnvHash, AgreesWithTheDefinitionOnEveryByteAndLongerKeys) {
  for (int b = 0; b < 256; ++b) {
    std::string key(1, static_cast<char>(b));
    EXPECT_EQ(hashOf(key), fnvByHand(key)) << "byte " << b;
  }
  const std::string keys[] = {std::string("a\0b", 3), "X1", "rev\r", "caf\xc3\xa9",
                              std::string(1000, '\xfe') + "tail"};
  for (const std::string& key : keys) {
    EXPECT_EQ(hashOf(key), fnvByHand(key)) << "key of " << key.size() << " bytes";
  }
}

}  // namespace
