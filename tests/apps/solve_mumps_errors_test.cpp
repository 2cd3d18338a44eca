// What class Mumps makes of errors that a test cannot bring about with the real MUMPS.

#include <dmumps_c.h>
#include <gtest/gtest.h>

#include "apps/solve/mumps.h"

namespace {

constexpr int kAnalyse = 1, kFactorise = 2;
constexpr int kDefaultRoom = 20;  // ICNTL(14), per cent

/// How the MUMPS of this test fails.
struct Failure {
  int job = 0, error = 0;
  int enough_room = 0;  // ICNTL(14) from which on it succeeds; 0: it never does
} failure;
int factorisations;

}  // namespace

/// Takes the place of that of the library in this test program, which solves by MUMPS only as
/// corvidnum-solve.
extern "C" void MUMPS_CALL dmumps_c(DMUMPS_STRUC_C* mumps) {
  int& room = mumps->icntl[13];
  if (mumps->job == -1) room = kDefaultRoom;
  factorisations += mumps->job == kFactorise;
  const bool has_room = failure.enough_room > 0 && room >= failure.enough_room;
  mumps->infog[0] = mumps->job == failure.job && !has_room ? failure.error : 0;
}

namespace {

using Status = solve::Mumps::Status;

Status factorise_with(const Failure& how) {
  failure = how;
  factorisations = 0;
  solve::Matrix one;
  one.rows = one.columns = 1;
  one.row = one.column = {1};
  one.value = {2.0};
  return solve::Mumps(one, 1, -1).factorise();
}

TEST(MumpsErrors, ArraysThatAreTooShortAreMadeLongerUpToALimit) {
  for (const int error : {-8, -9, -17, -20}) {
    EXPECT_EQ(factorise_with({kFactorise, error, 3 * kDefaultRoom}), Status::kDone) << error;
    EXPECT_EQ(factorisations, 3);
    EXPECT_EQ(factorise_with({kFactorise, error, 0}), Status::kNoMemory) << error;
    EXPECT_LT(factorisations, 10);
  }
}

TEST(MumpsErrors, RefusedMemoryIsToldAsThat) {
  for (const int error : {-5, -7, -13, -19})
    for (const int job : {kAnalyse, kFactorise}) {
      EXPECT_EQ(factorise_with({job, error, 0}), Status::kNoMemory) << error;
      EXPECT_EQ(factorisations, job == kFactorise) << "more room would not help";
    }
  EXPECT_EQ(factorise_with({kFactorise, -90, 0}), Status::kFailed);
}

}  // namespace
