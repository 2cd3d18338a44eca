#include <gtest/gtest.h>

#include <string>

#include "host/corvid_host.h"

namespace {

using namespace corvid_host;

TEST(TextTest, OwnsACopyAndGivesItBack) {
  const auto blocks = LiveBlocks();
  {
    char original[] = "origin";
    const Text text(original);
    original[0] = 'X';
    EXPECT_STREQ(text.Characters(), "origin");
    EXPECT_EQ(text.Length(), 6u);
    Text copy(text);
    Text other("other");
    EXPECT_EQ(LiveBlocks(), blocks + 3);
    EXPECT_NE(copy.Characters(), text.Characters());
    copy = other;
    EXPECT_STREQ(copy.Characters(), "other");
    EXPECT_EQ(copy.Length(), 5u);
    EXPECT_EQ(LiveBlocks(), blocks + 3);
    const Text& itself = copy;
    copy = itself;
    EXPECT_STREQ(copy.Characters(), "other");
    EXPECT_STREQ(text.Characters(), "origin");
  }
  EXPECT_EQ(LiveBlocks(), blocks);
}

TEST(TextTest, EmptyTextsHaveCharactersButNoBlock) {
  const auto blocks = LiveBlocks();
  const Text texts[] = {Text(), Text(nullptr), Text(""), Text(Text())};
  for (const Text& text : texts) {
    EXPECT_STREQ(text.Characters(), "");
    EXPECT_EQ(text.Length(), 0u);
  }
  Text filled("filled");
  filled = texts[0];
  EXPECT_STREQ(filled.Characters(), "");
  EXPECT_EQ(LiveBlocks(), blocks);
}

TEST(TextTest, WithoutMemoryATextIsEmpty) {
  const auto blocks = LiveBlocks();
  {
    const Text source("source");
    Text target("target");
    FailAllocationsFrom(1);
    const Text fresh("fresh");
    const Text copy(source);
    target = source;
    const Text formatted = FormattedText("%d", 12);
    StopFailing();
    for (const Text* text : {&fresh, &copy, static_cast<const Text*>(&target), &formatted}) {
      EXPECT_STREQ(text->Characters(), "");
      EXPECT_EQ(text->Length(), 0u);
    }
    EXPECT_STREQ(source.Characters(), "source");
  }
  EXPECT_EQ(LiveBlocks(), blocks);
}

TEST(TextTest, FormatsAsPrintf) {
  const struct {
    Text text;
    const char* expected;
  } cases[] = {
      {FormattedText("plain, 100%%"), "plain, 100%"},
      {FormattedText("%d of %s", -7, "ten"), "-7 of ten"},
      {FormattedText("%13.5e|%13.5f", 1.25e-7, -2.5), "  1.25000e-07|     -2.50000"},
      {FormattedText("%g %g", 0.5, 1e100), "0.5 1e+100"},
      {FormattedText("%13d|%-4d|%04d", 42, 42, 42), "           42|42  |0042"},
      {FormattedText("%*d", 5, 9), "    9"},
  };
  for (const auto& c : cases) EXPECT_STREQ(c.text.Characters(), c.expected);

  const std::string part(100000, 'x');
  const Text text = FormattedText("<%s|%s>", part.c_str(), part.c_str());
  EXPECT_EQ(text.Characters(), "<" + part + "|" + part + ">");
  EXPECT_EQ(text.Length(), 200003u);
}

}  // namespace
