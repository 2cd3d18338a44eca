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
  unsigned expected = 0;
  for (int i = 0; i < 32; ++i) {
    map.set(bit(i));
    EXPECT_EQ(word(map), expected |= 1U << i);
  }
  for (int i = 0; i < 32; ++i) {
    Bitmap copy(map), assigned;
    copy.clear(bit(i));
    copy.clear(bit(i));
    assigned = copy;
    EXPECT_EQ(word(assigned), ~(1U << i));
  }
  map.clearAll();
  EXPECT_EQ(word(map), 0U);
}

TEST(Bitmap, OtherNumbersNameNoFlag) {
  for (const int i : {-1, 32, 1000000, -2147483647}) {
    Bitmap map;
    map.set(bit(i));
    EXPECT_EQ(word(map), 0U);
    EXPECT_EQ(map.test(bit(i)), 0);
    for (int k = 0; k < 32; ++k) map.set(bit(k));
    map.clear(bit(i));
    EXPECT_EQ(word(map), ~0U);
  }
}

}  // namespace
