#include "apps/solve/spy.h"

#include <algorithm>
#include <cstdint>

#include "apps/common/output.h"

namespace solve {
namespace {

constexpr int kSide = 1000, kMargin = 10, kCaption = 30;  // pixels

/// Which squares of the picture hold an entry.
class Dots {
 public:
  Dots(const Matrix& matrix, const std::vector<int>& numbering)
      : order_(matrix.rows), across_(std::min(order_, kMostDotsAcross)), set_(index(across_, 0), false) {
    const auto number = [&](int unknown) {
      return numbering.empty() ? unknown : numbering[static_cast<std::size_t>(unknown - 1)];
    };
    for (std::size_t k = 0; k < matrix.row.size(); ++k)
      set_[index(square(number(matrix.row[k])), square(number(matrix.column[k])))] = true;
  }
  int across() const { return across_; }
  bool at(int row, int column) const { return set_[index(row, column)]; }

 private:
  int square(int number) const { return static_cast<int>((std::int64_t{number} - 1) * across_ / order_); }
  std::size_t index(int row, int column) const {
    return static_cast<std::size_t>(row) * static_cast<std::size_t>(across_) +
           static_cast<std::size_t>(column);
  }

  int order_, across_;
  std::vector<bool> set_;
};

void add_path(apps::Page& page, const Dots& dots) {
  page.add("<path d=\"");
  for (int i = 0; i < dots.across(); ++i)
    for (int j = 0; j < dots.across(); ++j)
      if (dots.at(i, j)) page.add("M{} {}h1v1h-1z\n", j, i);
  page.add("\"/>\n");
}

}  // namespace

std::string spy_svg(const Matrix& matrix, const std::vector<int>& numbering, const std::string& caption) {
  const Dots dots(matrix, numbering);
  apps::Page page;
  page.add(
      "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"{0}\" height=\"{1}\" viewBox=\"0 0 {0} {1}\">\n",
      kSide + 2 * kMargin, kSide + kCaption + kMargin);
  page.add("<rect width=\"100%\" height=\"100%\" fill=\"white\"/>\n");
  page.add("<text x=\"{}\" y=\"{}\" font-family=\"sans-serif\" font-size=\"15\">{}</text>\n", kMargin,
           kCaption - kMargin, caption);
  const std::string frame =
      fmt::format("x=\"{}\" y=\"{}\" width=\"{}\" height=\"{}\"", kMargin, kCaption, kSide, kSide);
  page.add("<rect {} fill=\"none\" stroke=\"silver\"/>\n", frame);
  page.add("<svg {0} viewBox=\"0 0 {1} {1}\">\n", frame, dots.across());
  add_path(page, dots);
  page.add("</svg>\n</svg>\n");
  return page.take();
}

}  // namespace solve
