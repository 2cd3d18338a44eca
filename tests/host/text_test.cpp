#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "host/corvid_host.h"

namespace {

using namespace corvid_host;

class TextTest : public testing::Test {
 protected:
  void TearDown() override { EXPECT_EQ(LiveBlocks(), blocks_); }
  static void expect(const Text& text, const std::string& characters) {
    EXPECT_EQ(text.Characters(), characters);
    EXPECT_EQ(text.Length(), characters.size());
  }
  const std::int64_t blocks_ = LiveBlocks();
};

TEST_F(TextTest, OwnsACopyAndGivesItBack) {
  char original[] = "origin";
  const Text text(original);
  original[0] = 'X';
  Text copy(text);
  expect(copy, "origin");
  EXPECT_NE(copy.Characters(), text.Characters());
  copy = Text("other");
  const Text& itself = copy;
  copy = itself;
  expect(copy, "other");
  expect(text, "origin");
  copy = Text(nullptr);
  expect(copy, "");
  copy = Text("");
  expect(copy, "");
  EXPECT_EQ(LiveBlocks(), blocks_ + 1) << "an empty text has no block";
}

TEST_F(TextTest, WithoutMemoryATextIsEmpty) {
  const Text source("source");
  Text target("target");
  FailAllocationsFrom(1);
  const Text fresh("fresh"), copy(source), formatted = FormattedText("%d", 12);
  target = source;
  StopFailing();
  for (const Text* text : {&fresh, &copy, &formatted, static_cast<const Text*>(&target)}) expect(*text, "");
  expect(source, "source");
}

}  // namespace
