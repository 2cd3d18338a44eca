// The drawing of a flowsheet, and the pages of cases, converged or not.

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "apps/recycle/case_file.h"
#include "apps/recycle/flowsheet_drawing.h"
#include "tests/support/program.h"

namespace recycle {
namespace {

/// Returns a flowsheet of flashes and mixers that are connected at random, with recycles.
Flowsheet random_flowsheet(unsigned seed, int units) {
  std::mt19937 random(seed);
  const auto below = [&](std::size_t n) { return static_cast<std::size_t>(random() % n); };
  Flowsheet sheet;
  sheet.components = {"A"};
  std::vector<int> open;  // streams that enter no unit yet
  const auto add = [&](int from) {
    const int s = static_cast<int>(sheet.streams.size());
    sheet.streams.emplace_back();
    sheet.streams.back().name = "S" + std::to_string(s);
    sheet.streams.back().from = from;
    sheet.streams.back().is_feed = from == kOutside;
    if (from != kOutside) open.push_back(s);
    return s;
  };
  const auto take = [&] {
    if (open.empty() || below(10) == 0) return add(kOutside);
    const auto k = below(open.size());
    const int s = open[k];
    open.erase(open.begin() + static_cast<std::ptrdiff_t>(k));
    return s;
  };
  const auto enter = [&](int s, int unit) {
    sheet.streams[static_cast<std::size_t>(s)].to = unit;
    sheet.units[static_cast<std::size_t>(unit)].inlets.push_back(s);
  };
  for (int u = 0; u < units; ++u) {
    sheet.units.emplace_back();
    sheet.units.back().kind = below(2) == 0 ? UnitKind::kMixer : UnitKind::kFlash;
    sheet.units.back().name = "unit " + std::to_string(u);
    const bool mixes = sheet.units.back().kind == UnitKind::kMixer;
    for (int k = 0; k <= static_cast<int>(mixes); ++k) enter(take(), u);
    for (int k = 0; k <= static_cast<int>(!mixes); ++k)
      sheet.units[static_cast<std::size_t>(u)].outlets.push_back(add(u));
  }
  for (int u = 0; u < units; ++u)  // some streams back to mixers
    if (sheet.units[static_cast<std::size_t>(u)].kind == UnitKind::kMixer && !open.empty() && below(3) == 0) {
      enter(open.back(), u);
      open.pop_back();
    }
  return sheet;
}

struct Segment {
  Point low, high;
  int stream;
  bool is_level() const { return low.y == high.y; }
};

std::vector<Segment> segments(const FlowsheetLayout& layout) {
  std::vector<Segment> all;
  for (std::size_t s = 0; s < layout.streams.size(); ++s) {
    const auto& corners = layout.streams[s].corners;
    for (std::size_t k = 1; k < corners.size(); ++k) {
      const Point a = corners[k - 1], b = corners[k];
      all.push_back({{std::min(a.x, b.x), std::min(a.y, b.y)},
                     {std::max(a.x, b.x), std::max(a.y, b.y)},
                     static_cast<int>(s)});
    }
  }
  return all;
}

bool touches(const Point& p, const UnitBox& box) {
  return box.left <= p.x && p.x <= box.left + box.width && box.top <= p.y && p.y <= box.top + box.height;
}

bool crosses(const Segment& s, const UnitBox& box) {
  return s.low.x < box.left + box.width && s.high.x > box.left && s.low.y < box.top + box.height &&
         s.high.y > box.top;
}

bool overlap(const UnitBox& a, const UnitBox& b) {
  return a.left < b.left + b.width && b.left < a.left + a.width && a.top < b.top + b.height &&
         b.top < a.top + a.height;
}

/// Counts pairs of streams that are drawn on each other.
int covered(const std::vector<Segment>& all) {
  int count = 0;
  for (const Segment& a : all)
    for (const Segment& b : all) {
      if (a.stream >= b.stream || a.is_level() != b.is_level()) continue;
      const bool same_line = a.is_level() ? a.low.y == b.low.y : a.low.x == b.low.x;
      const bool meet =
          a.is_level() ? a.low.x < b.high.x && b.low.x < a.high.x : a.low.y < b.high.y && b.low.y < a.high.y;
      count += same_line && meet;
    }
  return count;
}

void expect_good_layout(const Flowsheet& sheet, const Plan& plan, const FlowsheetLayout& layout) {
  ASSERT_EQ(layout.units.size(), sheet.units.size());
  ASSERT_EQ(layout.streams.size(), sheet.streams.size());
  for (std::size_t a = 0; a < layout.units.size(); ++a)
    for (std::size_t b = 0; b < a; ++b)
      EXPECT_FALSE(overlap(layout.units[a], layout.units[b])) << "units " << a << ", " << b;
  for (std::size_t s = 0; s < sheet.streams.size(); ++s) {
    const Stream& stream = sheet.streams[s];
    const StreamLine& line = layout.streams[s];
    const auto ends_at = [&](const Point& end, int unit) {
      return unit == kOutside || touches(end, layout.units[static_cast<std::size_t>(unit)]);
    };
    EXPECT_TRUE(ends_at(line.corners.front(), stream.from)) << stream.name;
    EXPECT_TRUE(ends_at(line.corners.back(), stream.to)) << stream.name;
    EXPECT_EQ(line.is_torn, std::count(plan.tears.begin(), plan.tears.end(), static_cast<int>(s)) == 1);
  }
  for (const Segment& segment : segments(layout)) {
    EXPECT_TRUE(segment.is_level() || segment.low.x == segment.high.x) << "stream " << segment.stream;
    EXPECT_TRUE(segment.low.x >= 0 && segment.low.y >= 0 && segment.high.x <= layout.width &&
                segment.high.y <= layout.height)
        << "stream " << segment.stream;
    for (const UnitBox& box : layout.units)
      EXPECT_FALSE(crosses(segment, box)) << "stream " << segment.stream;
  }
  EXPECT_EQ(covered(segments(layout)), 0);
}

class FlowsheetLayouts : public testing::TestWithParam<Direction> {};
INSTANTIATE_TEST_SUITE_P(Ways, FlowsheetLayouts, testing::Values(Direction::kRight, Direction::kDown));

TEST_P(FlowsheetLayouts, OfTheShippedCases) {
  for (const char* name : {"/cavett.toml", "/purge-loop.toml"}) {
    SCOPED_TRACE(name);
    const RecycleCase c = read_case(std::string(RECYCLE_CASES) + name);
    const Plan plan = make_plan(c.flowsheet, c.tears);
    const FlowsheetLayout layout = lay_out(c.flowsheet, plan, GetParam());
    expect_good_layout(c.flowsheet, plan, layout);
    EXPECT_EQ(flowsheet_svg(c.flowsheet, layout, {}),
              flowsheet_svg(c.flowsheet, lay_out(c.flowsheet, plan, GetParam()), {}));
    for (std::size_t s = 0; s < layout.streams.size(); ++s)
      EXPECT_EQ(layout.streams[s].is_recycle, c.flowsheet.streams[s].name[0] == 'R') << s;
  }
}

TEST_P(FlowsheetLayouts, OfRandomFlowsheets) {
  for (unsigned seed = 1; seed <= 60; ++seed) {
    SCOPED_TRACE(seed);
    const Flowsheet sheet = random_flowsheet(seed, 1 + static_cast<int>(seed % 60));
    Plan plan;  // what is torn only marks
    plan.tears = {static_cast<int>(sheet.streams.size()) / 2};
    expect_good_layout(sheet, plan, lay_out(sheet, plan, GetParam()));
  }
}

class RecyclePage : public ProgramTest {
 protected:
  RecyclePage() : ProgramTest(RECYCLE_PROGRAM) {}
  std::string page(const std::string& name) { return contents(folder_ / "pages" / name); }
};

TEST_F(RecyclePage, IsWrittenWhateverBecomesOfTheCase) {
  const std::string cavett = RECYCLE_CASES "/cavett.toml --report pages ";
  EXPECT_EQ(run(cavett + "--compare"), 0);
  for (const char* shown : {"direct, 157 passes", "acceleration step taken", "drum 4", "13849.4294", "nC11"})
    EXPECT_NE(page("recycle-cavett.html").find(shown), std::string::npos) << shown;
  const std::string index = page("index.tsv");
  EXPECT_EQ(index.rfind("recycle-cavett.html\tcorvidnum-recycle\tCavett's", 0), 0u) << index;
  EXPECT_NE(index.find("\tbalances 1.0e-08\tagrees\n"), std::string::npos) << index;

  EXPECT_EQ(run(cavett + "--method direct --max-passes 20"), 3);
  EXPECT_NE(page("recycle-cavett.html").find("after 20 passes the largest change is 2.1e-03"),
            std::string::npos);
  EXPECT_NE(page("index.tsv").find("\t20 passes\t"), std::string::npos);
  EXPECT_NE(page("index.tsv").find("\tnot converged\t-\n"), std::string::npos);
  EXPECT_EQ(page("recycle-cavett.html").find("Published rates"), std::string::npos);

  EXPECT_EQ(run(cavett + "--tolerance 1e-5 --strict"), 5);
  EXPECT_TRUE(printed("\n  12 of 80 published values differ;")) << out_;
  for (const char* shown : {"68 of 80", "Molar rates, lbmol/h"})
    EXPECT_NE(page("recycle-cavett.html").find(shown), std::string::npos) << shown;
  EXPECT_NE(page("index.tsv").find("\tdiffers (12 of 80)\n"), std::string::npos);
}

TEST_F(RecyclePage, EscapesNames) {
  write("odd.toml", R"(title = "<b> & more"
component = [{name = "<i>"}]
feed = [{stream = "F<", rates = [5]}]
unit = [{name = "<a & b>", kind = "component-splitter", inlet = "F<", outlets = ["P", "Q"], recoveries = [1]}]
solver = {tolerance = 1e-8}
)");
  EXPECT_EQ(run("odd.toml --report pages"), 0);
  const std::string html = page("recycle-odd.html");
  EXPECT_NE(html.find("&lt;a &amp; b&gt;"), std::string::npos);
  for (const char* raw : {"<a &", "<i>", "F<<", "<b>"}) EXPECT_EQ(html.find(raw), std::string::npos) << raw;
  expect_runs({{"odd.toml --report odd.toml", 1, "odd.toml"},
               {"odd.toml --report \"\"", 2, "the name is empty"},
               {"odd.toml --report pages --csv pages/index.tsv", 2, "is written by --report too"}});
}

}  // namespace
}  // namespace recycle
