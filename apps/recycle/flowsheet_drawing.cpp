#include "apps/recycle/flowsheet_drawing.h"

#include <algorithm>
#include <cmath>
#include <numeric>

#include "apps/common/output.h"
#include "apps/recycle/wording.h"
#include "apps/report/page.h"

namespace recycle {
namespace {

using apps::Page;
using report::escaped;

constexpr double kArrowLength = 9, kArrowHalfWidth = 4;
constexpr const char *kStreamClass = "s0", *kRecycleClass = "s1";  // colours of the page's series

/// Returns the point at `distance` from `from` on the way to `to`.
Point towards(const Point& from, const Point& to, double distance) {
  const double length = std::hypot(to.x - from.x, to.y - from.y);
  if (length == 0) return from;
  return {from.x + (to.x - from.x) * distance / length, from.y + (to.y - from.y) * distance / length};
}

/// Returns the path of a line with rounded corners.
std::string path_of(const std::vector<Point>& corners) {
  constexpr double kRadius = 6;
  Page path;
  path.add("M{:.1f} {:.1f}", corners.front().x, corners.front().y);
  for (std::size_t k = 1; k + 1 < corners.size(); ++k) {
    const Point& corner = corners[k];
    const auto half = [&](const Point& other) {
      return std::min(kRadius, std::hypot(other.x - corner.x, other.y - corner.y) / 2);
    };
    const Point before = towards(corner, corners[k - 1], half(corners[k - 1]));
    const Point behind = towards(corner, corners[k + 1], half(corners[k + 1]));
    path.add("L{:.1f} {:.1f}Q{:.1f} {:.1f} {:.1f} {:.1f}", before.x, before.y, corner.x, corner.y, behind.x,
             behind.y);
  }
  const Point end = towards(corners.back(), corners[corners.size() - 2], kArrowLength / 2);
  path.add("L{:.1f} {:.1f}", end.x, end.y);
  return path.take();
}

void add_arrow_head(Page& page, const Point& tip, Direction direction) {
  if (direction == Direction::kRight) {
    page.add("<path class=\"head\" d=\"M{:.1f} {:.1f}l{} {}v{}z\"/>", tip.x, tip.y, -kArrowLength,
             -kArrowHalfWidth, 2 * kArrowHalfWidth);
  } else {
    page.add("<path class=\"head\" d=\"M{:.1f} {:.1f}l{} {}h{}z\"/>", tip.x, tip.y, -kArrowHalfWidth,
             -kArrowLength, 2 * kArrowHalfWidth);
  }
}

/// Adds the mark of a torn stream: two strokes across its line.
void add_tear(Page& page, const Point& at, Direction direction) {
  constexpr double kLong = 6, kShort = 3, kApart = 2.5;
  const bool is_level = direction == Direction::kRight;
  for (const double off : {-kApart, kApart}) {
    const double x = at.x + (is_level ? off : 0), y = at.y + (is_level ? 0 : off);
    const double dx = is_level ? kShort : kLong, dy = is_level ? kLong : kShort;
    page.add("<path class=\"tear\" d=\"M{:.1f} {:.1f}l{} {}\"/>", x - dx, y + dy, 2 * dx, -2 * dy);
  }
}

const char* class_of(Anchor anchor) {
  switch (anchor) {
    case Anchor::kStart:
      return "";
    case Anchor::kMiddle:
      return " class=\"middle\"";
    case Anchor::kEnd:
      return " class=\"end\"";
  }
  return "";
}

void add_stream(Page& page, const Stream& stream, const StreamLine& line, Direction direction,
                const Rates* rates) {
  page.add("<g class=\"{}\"><path class=\"line\" d=\"{}\"/>", line.is_recycle ? kRecycleClass : kStreamClass,
           path_of(line.corners));
  add_arrow_head(page, line.corners.back(), direction);
  if (line.is_torn) add_tear(page, line.tear_mark, direction);
  page.add("<text x=\"{:.1f}\" y=\"{:.1f}\"{}>{}</text>", line.label.x, line.label.y, class_of(line.anchor),
           escaped(short_name(stream.name)));
  page.add("<title>{}{}{}", escaped(stream.name), line.is_recycle ? ", recycle" : "",
           line.is_torn ? ", torn" : "");
  if (rates) page.add(": {:.6g} in all", std::accumulate(rates->begin(), rates->end(), 0.0));
  page.add("</title></g>\n");
}

/// Returns strokes in a square of 24 x 24 that tell the kind of a unit.
const char* icon_of(UnitKind kind) {
  switch (kind) {
    case UnitKind::kMixer:  // two lines that become one
      return "M2 5H7L13 12H22M2 19H7L13 12";
    case UnitKind::kFlash:  // a vessel with its liquid
      return "M6 7a6 5 0 0 1 12 0V17a6 5 0 0 1 -12 0ZM6 14H18";
    case UnitKind::kComponentSplitter:  // a column with its trays
      return "M7 5a5 3 0 0 1 10 0V19a5 3 0 0 1 -10 0ZM7 9H14M10 13H17M7 17H14";
    case UnitKind::kStreamSplitter:  // a line that becomes two
      return "M22 5H17L11 12H2M22 19H17L11 12";
  }
  return "";
}

void add_unit(Page& page, const Unit& unit, const UnitBox& box) {
  constexpr double kIcon = 24, kPadding = 6, kTextAt = 34, kNameUp = 3, kKindDown = 12;
  const double middle = box.top + box.height / 2;
  page.add(
      "<g class=\"unit\"><rect class=\"box\" x=\"{:.1f}\" y=\"{:.1f}\" width=\"{:.1f}\" height=\"{:.1f}\" "
      "rx=\"6\"/>",
      box.left, box.top, box.width, box.height);
  page.add("<path transform=\"translate({:.1f} {:.1f})\" d=\"{}\"/>", box.left + kPadding, middle - kIcon / 2,
           icon_of(unit.kind));
  page.add(
      "<text class=\"title\" x=\"{0:.1f}\" y=\"{1:.1f}\">{3}</text><text class=\"kind\" x=\"{0:.1f}\" "
      "y=\"{2:.1f}\">{4}</text>",
      box.left + kTextAt, middle - kNameUp, middle + kKindDown, escaped(short_name(unit.name)),
      name_of(unit.kind));
  page.add("<title>{}, {}</title></g>\n", escaped(unit.name), name_of(unit.kind));
}

/// Styles beyond those of the page, for the classes within a drawing only.
constexpr const char* kStyle =
    ".flowsheet text{font-size:12px}.flowsheet .line{stroke-width:1.7}.flowsheet .head{fill:var(--c)}"
    ".flowsheet .s1 text{fill:var(--c)}"
    ".flowsheet .tear{stroke:var(--s3);stroke-width:2.2;fill:none}"
    ".flowsheet .unit path{fill:none;stroke:var(--soft);stroke-width:1.5}"
    ".flowsheet .unit .title{font-weight:600}.flowsheet .unit .kind{font-size:11px;fill:var(--soft)}"
    "@media print{.flowsheet.plot{width:100%!important}}";

/// Returns the style that gives a drawing its own size where the page has room for it. One that would have to
/// shrink so far that its texts cannot be read keeps its size, and is moved within its box.
std::string size_style(const FlowsheetLayout& layout) {
  constexpr double kWidePage = 1088, kPhone = 328, kMostShrunk = 0.85;
  const double room = layout.direction == Direction::kRight ? kWidePage : kPhone;
  const char* how =
      kMostShrunk * layout.width <= room ? "max-width:{0:.0f}px" : "width:{0:.0f}px;max-width:none";
  return fmt::format(fmt::runtime(how), layout.width);
}

std::string describe(const Flowsheet& flowsheet, const FlowsheetLayout& layout) {
  std::string text =
      counted(flowsheet.units.size(), "unit") + ", " + counted(flowsheet.streams.size(), "stream") + ".";
  for (const Unit& unit : flowsheet.units) {
    text += fmt::format(" {}, {}, sends", unit.name, name_of(unit.kind));
    for (const int s : unit.outlets) {
      const Stream& stream = flowsheet.streams[static_cast<std::size_t>(s)];
      const bool leaves = stream.to == kOutside;
      text += fmt::format(" {} to {}{}", stream.name,
                          leaves ? "the products" : flowsheet.units[static_cast<std::size_t>(stream.to)].name,
                          layout.streams[static_cast<std::size_t>(s)].is_torn ? " (torn)" : "");
      text += s == unit.outlets.back() ? "." : ",";
    }
  }
  return text;
}

/// Returns one item of the legend; the sample is SVG in a box of 28 x 14.
std::string legend_item(const char* css_class, const char* sample, const char* meaning) {
  return fmt::format(
      "<li class=\"{}\"><svg class=\"sample flowsheet\" viewBox=\"0 0 28 14\" "
      "aria-hidden=\"true\">{}</svg>{}</li>\n",
      css_class, sample, meaning);
}

}  // namespace

const char* name_of(UnitKind kind) {
  switch (kind) {
    case UnitKind::kMixer:
      return "mixer";
    case UnitKind::kFlash:
      return "flash";
    case UnitKind::kComponentSplitter:
      return "separator";
    case UnitKind::kStreamSplitter:
      return "splitter";
  }
  return "";
}

std::string flowsheet_svg(const Flowsheet& flowsheet, const FlowsheetLayout& layout,
                          const std::vector<Rates>& streams) {
  Page page;
  page.add(
      "<svg class=\"flowsheet plot\" role=\"img\" viewBox=\"0 0 {0:.0f} {1:.0f}\" style=\"{2}\">\n"
      "<title>Flowsheet</title><desc>{3}</desc><style>{4}</style>\n",
      layout.width, layout.height, size_style(layout), escaped(describe(flowsheet, layout)), kStyle);
  for (std::size_t s = 0; s < layout.streams.size(); ++s)
    add_stream(page, flowsheet.streams[s], layout.streams[s], layout.direction,
               s < streams.size() ? &streams[s] : nullptr);
  for (std::size_t u = 0; u < layout.units.size(); ++u) add_unit(page, flowsheet.units[u], layout.units[u]);
  page.add("</svg>\n");
  return page.take();
}

report::Figure flowsheet_figure(const Flowsheet& flowsheet, const Plan& plan,
                                const std::vector<Rates>& streams) {
  const FlowsheetLayout wide = lay_out(flowsheet, plan, Direction::kRight);
  const FlowsheetLayout narrow = lay_out(flowsheet, plan, Direction::kDown);
  report::Figure figure;
  figure.title = "Flowsheet";
  figure.width = report::Width::kFull;
  const auto has = [&](bool StreamLine::*what) {
    return std::any_of(wide.streams.begin(), wide.streams.end(),
                       [&](const StreamLine& line) { return line.*what; });
  };
  std::string legend;
  if (has(&StreamLine::is_recycle))
    legend += legend_item(kRecycleClass, "<path class=\"line\" d=\"M1 7H27\"/>", "recycle");
  if (has(&StreamLine::is_torn))
    legend += legend_item(
        kStreamClass,
        "<path class=\"line\" d=\"M1 7H27\"/><path class=\"tear\" d=\"M8.5 13l6 -12M13.5 13l6 -12\"/>",
        "torn stream: its rates are the unknowns");
  if (!legend.empty()) figure.html = "<ul class=\"legend\">\n" + legend + "</ul>\n";
  const auto add = [&](const char* css_class, const FlowsheetLayout& layout) {
    figure.html += fmt::format(
        "<div class=\"scroll {}\" tabindex=\"0\" role=\"region\" aria-label=\"Flowsheet\">{}</div>\n",
        css_class, flowsheet_svg(flowsheet, layout, streams));
  };
  add("on-wide", wide);
  add("on-narrow", narrow);
  return figure;
}

}  // namespace recycle
