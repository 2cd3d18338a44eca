#include "util/bitmap.h"

#include <gtest/gtest.h>

namespace {

Bitmap::BitIndex bit(int i) { return static_cast<Bitmap::BitIndex>(i); }

unsigned word(const Bitmap& map) {
  unsigned value = 0;
  for (int i = 0; i < 32; ++i) value |= static_cast<unsigned>(map.test(bit(i))) << i;
  return value;
}

TEST(Bitmap, EachFlagIsItsOwn) {
  Bitmap map;
  EXPECT_EQ(word(map), 0U);
  unsigned expected = 0;
  for (int i = 0; i < 32; ++i) {
    map.set(bit(i));
    EXPECT_EQ(word(map), expected |= 1U << i);
  }
  for (int i = 0; i < 32; ++i) {
    Bitmap full(map);
    full.clear(bit(i));
    full.clear(bit(i));
    EXPECT_EQ(word(full), ~(1U << i));
  }
  Bitmap copy;
  EXPECT_EQ(&(copy = map), &copy);
  map.clearAll();
  EXPECT_EQ(word(map), 0U);
  EXPECT_EQ(word(copy), expected);
}

TEST(Bitmap, OtherNumbersNameNoFlag) {
  for (const int i : {-1, 32, 33, 1000000, -2147483647}) {
    Bitmap map;
    map.set(bit(5));
    map.set(bit(i));
    EXPECT_EQ(map.test(bit(i)), 0);
    map.clear(bit(i));
    EXPECT_EQ(word(map), 1U << 5);
  }
}

}  // namespace
