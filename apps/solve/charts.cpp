#include "apps/solve/charts.h"

#include <algorithm>
#include <cmath>

#include "apps/common/output.h"
#include "apps/report/axis.h"
#include "apps/report/page.h"

namespace solve {
namespace {

using apps::Page;
using report::escaped;

constexpr double kWidth = 360, kRow = 26, kFont = 13, kGap = 8, kBaseline = 4.5;

double text_width(const std::string& text) { return kFont * report::text_width(text); }

double widest(const std::vector<Value>& values, std::string Value::*text) {
  double width = 0;
  for (const Value& value : values) width = std::max(width, text_width(value.*text));
  return width;
}

void begin(Page& page, const std::string& title, const std::vector<Value>& values, double height,
           const std::string& id) {
  std::string description;
  for (const Value& value : values) description += fmt::format("{}: {}. ", value.name, value.words);
  page.add(
      "<svg class=\"plot chart\" role=\"img\" aria-labelledby=\"{0}t {0}d\" viewBox=\"0 0 {1} {2:.0f}\">\n"
      "<title id=\"{0}t\">{3}</title><desc id=\"{0}d\">{4}</desc>"
      "<style>.chart{{max-width:480px;margin-top:0}}.chart .bar{{fill:var(--s0)}}"
      ".chart text{{paint-order:stroke;stroke:var(--page);stroke-width:4px;stroke-linejoin:round}}</style>\n",
      id, kWidth, height, escaped(title), escaped(description));
}

void add_name(Page& page, const std::string& name, double y) {
  page.add("<text class=\"tick\" x=\"0\" y=\"{:.1f}\">{}</text>", y + kBaseline, escaped(name));
}

}  // namespace

std::string bar_chart(const std::string& title, const std::vector<Value>& values, const std::string& id) {
  constexpr double kThickness = 15, kLeast = 1.5;
  const double left = widest(values, &Value::name) + kGap;
  const double room = std::max(kWidth - left - widest(values, &Value::words) - kGap, kThickness);
  double most = 0;
  for (const Value& value : values) most = std::max(most, value.size);
  Page page;
  begin(page, title, values, kRow * static_cast<double>(values.size()), id);
  double y = kRow / 2;
  for (const Value& value : values) {
    const double length = most > 0 ? std::max(room * value.size / most, kLeast) : kLeast;
    add_name(page, value.name, y);
    page.add("<rect class=\"bar\" x=\"{:.1f}\" y=\"{:.1f}\" width=\"{:.1f}\" height=\"{}\" rx=\"2\"/>", left,
             y - kThickness / 2, length, kThickness);
    page.add("<text x=\"{:.1f}\" y=\"{:.1f}\">{}</text>\n", left + length + kGap, y + kBaseline,
             escaped(value.words));
    y += kRow;
  }
  page.add("</svg>\n");
  return page.take();
}

std::string log_chart(const std::string& title, const std::vector<Value>& values,
                      const std::vector<Bound>& bounds, const std::string& id) {
  constexpr int kTicks = 5;
  constexpr double kPerValue = 44, kFromWords = 20, kDot = 5;
  std::vector<double> all;
  for (const Value& value : values) all.push_back(value.size);
  for (const Bound& bound : bounds) all.push_back(bound.at);
  report::Axis description;
  description.scale = report::Scale::kLog;
  const report::FittedAxis axis(description, all);
  const double top = kRow * static_cast<double>(bounds.size()) + 4;
  const double bottom = top + kPerValue * static_cast<double>(values.size());
  constexpr double kSideMargin = 28;
  const auto x = [&](double value) { return kSideMargin + (kWidth - 2 * kSideMargin) * axis.place(value); };
  Page page;
  begin(page, title, values, bottom + kRow, id);
  for (const report::Tick& tick : axis.ticks(kTicks)) {
    page.add("<path class=\"grid\" d=\"M{:.1f} {:.1f}V{:.1f}\"/>", x(tick.at), top, bottom);
    page.add("<text class=\"tick middle\" x=\"{:.1f}\" y=\"{:.1f}\">{}</text>\n", x(tick.at), bottom + 17,
             escaped(tick.label));
  }
  page.add("<path class=\"axis\" d=\"M{:.1f} {:.1f}H{:.1f}\"/>\n", kSideMargin, bottom, kWidth - kSideMargin);
  double y = 0;
  for (const Bound& bound : bounds) {
    y += kRow;
    const bool fits = x(bound.at) + kGap + text_width(bound.name) < kWidth;
    page.add("<path class=\"limit\" d=\"M{0:.1f} {1:.1f}V{2:.1f}\"/>", x(bound.at), y - kFont, bottom);
    page.add("<text class=\"name{}\" x=\"{:.1f}\" y=\"{:.1f}\">{}</text>\n", fits ? "" : " end",
             fits ? x(bound.at) + kGap / 2 : x(bound.at) - kGap / 2, y - kGap / 2, escaped(bound.name));
  }
  y = top;
  for (const Value& value : values) {
    const std::string words = value.name + ": " + value.words;
    const double at = axis.has_place(value.size) ? x(value.size) : kSideMargin;
    const bool is_left = at < kWidth / 2;
    page.add("<g class=\"s0\"><text class=\"{}\" x=\"{:.1f}\" y=\"{:.1f}\">{}</text>", is_left ? "" : "end",
             is_left ? at - kDot : at + kDot, y + kFromWords, escaped(words));
    if (axis.has_place(value.size))
      page.add("<circle class=\"dot\" cx=\"{:.1f}\" cy=\"{:.1f}\" r=\"{}\"><title>{:.6g}</title></circle>",
               at, y + kPerValue - kGap - kDot, kDot, value.size);
    page.add("</g>\n");
    y += kPerValue;
  }
  page.add("</svg>\n");
  return page.take();
}

}  // namespace solve
