#include "apps/recycle/flowsheet_drawing.h"

#include <algorithm>
#include <cmath>
#include <numeric>

#include "apps/common/output.h"

namespace recycle {
namespace {

using apps::Page;

constexpr double kArrowLength = 9, kArrowHalfWidth = 4;

std::string escaped(const std::string& text) {
  std::string out;
  for (const char ch : text) {
    if (ch == '&')
      out += "&amp;";
    else if (ch == '<')
      out += "&lt;";
    else if (ch == '>')
      out += "&gt;";
    else
      out += ch;
  }
  return out;
}

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
  path.add("H{:.1f}", corners.back().x - kArrowLength / 2);  // the last part is horizontal
  return path.take();
}

const char* colour_class(const StreamLine& line) { return line.is_recycle ? "recycle" : "stream"; }

void add_stream(Page& page, const Stream& stream, const StreamLine& line, const Rates* rates) {
  const Point tip = line.corners.back();
  page.add("<g class=\"{}\"><path class=\"line\" d=\"{}\"/>", colour_class(line), path_of(line.corners));
  page.add("<path class=\"head\" d=\"M{:.1f} {:.1f}l{} {}v{}z\"/>", tip.x, tip.y, -kArrowLength,
           -kArrowHalfWidth, 2 * kArrowHalfWidth);
  if (line.is_torn) {
    constexpr double kHalf = 6, kApart = 2.5;
    for (const double x : {line.tear_mark.x - kApart, line.tear_mark.x + kApart})
      page.add("<path class=\"tear\" d=\"M{:.1f} {:.1f}l{} {}\"/>", x - kHalf / 2, line.tear_mark.y + kHalf,
               kHalf, -2 * kHalf);
  }
  page.add("<text x=\"{:.1f}\" y=\"{:.1f}\"{}>{}</text>", line.label.x, line.label.y,
           line.ends_label ? " text-anchor=\"end\"" : "", escaped(short_name(stream.name)));
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
  page.add("<g class=\"unit\"><rect x=\"{:.1f}\" y=\"{:.1f}\" width=\"{:.1f}\" height=\"{:.1f}\" rx=\"6\"/>",
           box.left, box.top, box.width, box.height);
  page.add("<path transform=\"translate({:.1f} {:.1f})\" d=\"{}\"/>", box.left + kPadding, middle - kIcon / 2,
           icon_of(unit.kind));
  page.add(
      "<text class=\"name\" x=\"{0:.1f}\" y=\"{1:.1f}\">{3}</text><text class=\"kind\" x=\"{0:.1f}\" "
      "y=\"{2:.1f}\">{4}</text>",
      box.left + kTextAt, middle - kNameUp, middle + kKindDown, escaped(short_name(unit.name)),
      name_of(unit.kind));
  page.add("<title>{}, {}</title></g>\n", escaped(unit.name), name_of(unit.kind));
}

/// Styles of the drawing, which hold within it only.
constexpr const char* kStyle =
    ".flowsheet text{font-size:12px;fill:var(--ink)}"
    ".flowsheet .line{fill:none;stroke-width:1.7}"
    ".flowsheet .stream .line{stroke:var(--flow)}.flowsheet .stream .head{fill:var(--flow)}"
    ".flowsheet .recycle .line{stroke:var(--back)}.flowsheet .recycle .head{fill:var(--back)}"
    ".flowsheet .recycle text{fill:var(--back)}"
    ".flowsheet .tear{stroke:var(--torn);stroke-width:2.2;fill:none}"
    ".flowsheet .unit rect{fill:var(--box);stroke:var(--ink);stroke-width:1.2}"
    ".flowsheet .unit path{fill:none;stroke:var(--muted);stroke-width:1.5}"
    ".flowsheet .unit .name{font-weight:600}.flowsheet .unit .kind{font-size:11px;fill:var(--muted)}";

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
      "<svg class=\"flowsheet\" xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 {0:.0f} {1:.0f}\" "
      "width=\"{0:.0f}\" height=\"{1:.0f}\" role=\"img\">\n",
      layout.width, layout.height);
  page.add("<title>Flowsheet</title><style>{}</style>\n", kStyle);
  for (std::size_t s = 0; s < layout.streams.size(); ++s)
    add_stream(page, flowsheet.streams[s], layout.streams[s], s < streams.size() ? &streams[s] : nullptr);
  for (std::size_t u = 0; u < layout.units.size(); ++u) add_unit(page, flowsheet.units[u], layout.units[u]);
  page.add("</svg>\n");
  return page.take();
}

}  // namespace recycle
