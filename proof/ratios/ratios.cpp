// Judges the linear solvers of the library by LAPACK's own measure: the ratios of its tests of linear
// equations (E. Anderson, J. Dongarra and S. Ostrouchov, LAPACK Working Note 41, 1992), on the matrices of
// those tests.
//
//   corvidnum_ratios [--markdown] [DRAWS]    draws of each kind, shape and order
//
// Ends with 1 if a ratio is not below its limit or is not a number, or if a status or a rank is not what it
// must be. The limit is 30, that of LAPACK. The sparse solvers keep it with partial pivoting. With their
// defaults they accept a pivot of a tenth of the largest, so that elements may grow; then the growth that the
// factors show multiplies the limit.

#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "proof/ratios/families.h"

namespace {

using namespace ratios;

constexpr int kStandardDraws = 3;
constexpr int kOrders[] = {0, 1, 2, 3, 5, 10, 50};

struct Judge {
  void (*judge)(const Problem&, Findings&);
  std::vector<Shape> shapes;
};
const Judge kJudges[] = {
    {judge_dense, {Shape::kFull}},
    {judge_bordered, {Shape::kBand, Shape::kBandWithBorder}},
    {judge_ma48, {Shape::kFull, Shape::kShuffledBand}},
    {judge_ma38, {Shape::kFull, Shape::kShuffledBand}},
    {judge_front, {Shape::kFull, Shape::kShuffledBand}},
};

void judge_all(int draws, Findings& findings) {
  for (int draw = 1; draw <= draws; ++draw) {
    for (int kind = 0; kind < kKinds; ++kind) {
      for (const int order : kOrders) {
        for (const Shape shape : {Shape::kFull, Shape::kShuffledBand, Shape::kBand, Shape::kBandWithBorder}) {
          const Problem problem(static_cast<Kind>(kind), shape, order, draw);
          for (const Judge& judge : kJudges) {
            for (const Shape judged : judge.shapes)
              if (judged == shape) judge.judge(problem, findings);
          }
        }
      }
    }
  }
}

}  // namespace

int main(int argc, char** argv) {
  bool markdown = false;
  int draws = kStandardDraws;
  for (int k = 1; k < argc; ++k) {
    const char* end = argv[k] + std::strlen(argv[k]);
    if (std::strcmp(argv[k], "--markdown") == 0) {
      markdown = true;
    } else if (const auto read = std::from_chars(argv[k], end, draws);
               read.ec != std::errc() || read.ptr != end || draws < 1) {
      std::fprintf(stderr, "usage: %s [--markdown] [DRAWS]\n", argv[0]);
      return EXIT_FAILURE;
    }
  }
  Findings findings;
  judge_all(draws, findings);
  print_tables(findings, markdown);
  if (!markdown)
    std::printf("ratios: systems solved and judged, %ld, found %ld\n", findings.systems(), findings.faults());
  return findings.faults() == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
