// The class that drives the sparse direct solver. A solve with new values goes through these steps, and
// begins with the first one that an earlier solve has not done:
//
//   1. load     the host writes rows, columns and values, as often as the arrays have to grow
//   2. analyse  ma48ad_, once for a pattern; its order of the pivots is kept
//   3. factorise  ma48bd_, with the order of the pivots that is there
//   4. solve    ma48cd_, for one right-hand side after the other
//
// Arrays that were too short are allocated anew with the length that the routine asked for, and step 1 fills
// them again. Failures are traced by the host's texts.

#include "sparse/ma48/ma48.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>

#include "frame/corvid.h"
#include "frame/empty_value.h"
#include "frame/module.h"
#include "sparse/ma48/layout.h"
#include "sparse/ma48/ma48_routines.h"

using namespace corvidnum;

namespace {

constexpr int kMostGrowths = 9;

/// Modes of the solve for several right-hand sides.
enum Mode { kAll = 0, kNoSolves = 1, kSolvesOnly = 2 };

constexpr char kSingularKey[] = "ma48_MSS";
constexpr char kAnalysisKey[] = "ma48_PSF";
constexpr char kReanalysisKey[] = "ma48_PSI";
constexpr char kFactorisationKey[] = "ma48_MFF";
constexpr char kSolutionKey[] = "ma48_FSE";

/// Returns an array of `count` zeros, one at least; null if the memory is refused.
template <class T>
T* allocate_zeros(std::int64_t count) {
  T* const array = allocate_array<T>(count);
  if (array) std::fill_n(array, std::max<std::int64_t>(count, 1), T());
  return array;
}

template <class T>
void copy_given(const T* source, int count, T* target) {
  if (source && target && count > 0) std::copy(source, source + count, target);
}

/// Tells whether `index` numbers an element of an array of `count`.
bool is_index(std::int64_t index, std::int64_t count) { return 1 <= index && index <= count; }

}  // namespace

ma48::ma48(int order, int entries, const int* rows, const int* cols, const double* values,
           ma48callback* loader, int minLa)
    : m(order),
      n(order),
      ne(entries),
      la(std::max(clamped_length(4 * std::int64_t{std::max(entries, 0)}), minLa)),
      job(MA48_ANALYSE_FREELY),
      needPivotOrder(1),
      info(),
      irn(nullptr),
      jcn(nullptr),
      keep(nullptr),
      iw(nullptr),
      status(0),
      a(nullptr),
      w(nullptr),
      rinfo(0.0),
      error(),
      callback(loader),
      analysed(0),
      factorised(0) {
  enter_library();
  AllocateMissing();
  ma48id_(cntl, icntl);
  const int given = std::min(ne, la);  // la may be below 4 ne, where that is too long
  copy_given(rows, given, irn);
  copy_given(cols, given, jcn);
  copy_given(values, given, a);
}

ma48::~ma48() {
  enter_library();
  Corvid_delete(irn);
  Corvid_delete(jcn);
  Corvid_delete(keep);
  Corvid_delete(iw);
  Corvid_delete(a);
  Corvid_delete(w);
}

// The contract shares the handles: a host that assigns relies on it.
// NOLINTNEXTLINE(bugprone-unhandled-self-assignment): nothing is freed
ma48& ma48::operator=(const ma48& other) {
  enter_library();
  m = other.m;
  n = other.n;
  ne = other.ne;
  la = other.la;
  job = other.job;
  needPivotOrder = other.needPivotOrder;
  std::copy(std::begin(other.cntl), std::end(other.cntl), cntl);
  std::copy(std::begin(other.icntl), std::end(other.icntl), icntl);
  std::copy(std::begin(other.info), std::end(other.info), info);
  irn = other.irn;
  jcn = other.jcn;
  keep = other.keep;
  iw = other.iw;
  status = other.status;
  a = other.a;
  w = other.w;
  rinfo = other.rinfo;
  std::copy(std::begin(other.error), std::end(other.error), error);
  callback = other.callback;
  analysed = other.analysed;
  factorised = other.factorised;
  return *this;
}

int* ma48::RowPtr() const {
  enter_library();
  return irn;
}

int* ma48::ColPtr() const {
  enter_library();
  return jcn;
}

double* ma48::Values() const {
  enter_library();
  return a;
}

int ma48::NElements() const {
  enter_library();
  return ne;
}

int ma48::Size() {
  enter_library();
  return m;
}

int ma48::GetLa() {
  enter_library();
  return la;
}

int ma48::Keep(int i) {
  enter_library();
  return keep && is_index(i + std::int64_t{1}, ma48_keep_length(m, n)) ? keep[i] : EmptyValueInt;
}

void ma48::SetControl1(double value) {
  enter_library();
  ma48_set_cntl(cntl, MA48_CNTL_DENSITY, value);
}

void ma48::SetControl2(double value) {
  enter_library();
  ma48_set_cntl(cntl, MA48_CNTL_THRESHOLD, value);
}

void ma48::SetControl3(double value) {
  enter_library();
  ma48_set_cntl(cntl, MA48_CNTL_DROP_TOLERANCE, value);
}

void ma48::SetControl4(double value) {
  enter_library();
  ma48_set_cntl(cntl, MA48_CNTL_PIVOT_TOLERANCE, value);
}

void ma48::SetControl5(double value) {
  enter_library();
  ma48_set_cntl(cntl, MA48_CNTL_REFINEMENT_FACTOR, value);
}

void ma48::SetNeedPivotOrder(unsigned char need) {
  enter_library();
  needPivotOrder = need;
}

void ma48::SetCallBack(ma48callback* newCallback) {
  enter_library();
  callback = newCallback;
}

unsigned char ma48::SetLa(int newLa) {
  enter_library();
  if (newLa < ne || ne < 1) return 0;
  analysed = factorised = 0;
  if (newLa != la) ReplaceEntries(newLa);
  return HasArrays() && callback && callback->LoadMatrix(irn, jcn, a, ne) != 0;
}

unsigned char ma48::SetLa2(int newLa) {
  enter_library();
  return SetLa(newLa > la ? newLa : la + std::min(kMostPlaces - la, ne));
}

unsigned char ma48::IsReusable(const int* rows, const int* cols, int newNe, int newN, unsigned char check) {
  enter_library();
  if (!rows || !cols || newNe < 1 || newN < 1 || newN != m || newNe != ne) return 0;
  if (!irn || !jcn || !a) return 0;
  if (check != 1) return 1;
  if (!keep || ne > la) return 0;
  for (int k = 0; k < ne; ++k) {
    // After an analysis JCN holds places of the permuted matrix. Only rows are compared, as the contract
    // says: the columns given are gone.
    if (!is_index(jcn[k], la) || !is_index(rows[k], m)) return 0;
    if (irn[jcn[k] - 1] != keep[rows[k] - 1]) return 0;
  }
  return 1;
}

unsigned char ma48::Solve(double* rhs, double* x) {
  enter_library();
  if (!callback || !rhs || !x) return 0;
  return Prepare() && SolveOne(rhs, x);
}

unsigned char ma48::Solve(unsigned int count, double** vectors, unsigned char* flags, int mode,
                          double* scratch) {
  enter_library();
  if ((mode != kAll && mode != kNoSolves && mode != kSolvesOnly) || !callback) return 0;
  if (mode != kSolvesOnly && !Prepare()) return 0;
  if (mode == kNoSolves) return status == MA48_STATUS_OK;
  if (count == 0 || !flags) return 0;
  if (std::find(flags, flags + count, 1) == flags + count) return 1;
  if (status != MA48_STATUS_OK || !vectors) return 0;
  if (scratch) return SolveFlagged(count, vectors, flags, scratch, count > 1);
  double* const buffer = allocate_array<double>(n);
  const bool solved = buffer && SolveFlagged(count, vectors, flags, buffer, true);
  Corvid_delete(buffer);
  return solved;
}

/// Solves for the flagged vectors, each into `solution`, and copies it to its vector if `copyBack` is true.
bool ma48::SolveFlagged(unsigned int count, double** vectors, const unsigned char* flags, double* solution,
                        bool copyBack) {
  for (unsigned int i = 0; i < count; ++i) {
    if (flags[i] != 1) continue;
    if (!vectors[i] || !SolveOne(vectors[i], solution)) return false;
    if (copyBack) std::copy(solution, solution + n, vectors[i]);
  }
  return true;
}

bool ma48::SolveOne(double* rhs, double* x) {
  const int trans = 0;
  status = MA48_STATUS_INCOMPATIBLE;
  if (factorised) {
    ma48cd_(&n, &n, &trans, &job, &la, a, irn, keep, cntl, icntl, rhs, x, error, w, iw, info);
    status = ma48_info(info, MA48_INFO_STATUS);
  }
  return status == MA48_STATUS_OK || Fail(kSolutionKey);
}

/// Analyses if needed, and factorises. If it returns false, the trace has a line.
bool ma48::Prepare() {
  job = MA48_ANALYSE_FREELY;
  status = 0;
  if ((needPivotOrder || !HasArrays()) && !AnalysisPhase()) return false;
  return FactorisePhase();
}

bool ma48::AnalysisPhase() {
  needPivotOrder = 0;  // before the attempt, and not undone by a failure: the next Solve tries the old order
  AllocateMissing();
  SetLa(la);
  Analyse();
  for (int growths = 0; status == MA48_STATUS_TOO_SHORT && growths < kMostGrowths && Grow(); ++growths)
    Analyse();
  if (status == MA48_STATUS_STRUCTURALLY_SINGULAR) return Fail(kSingularKey);
  return status == MA48_STATUS_OK || Fail(kAnalysisKey);
}

bool ma48::FactorisePhase() {
  Factorise();
  for (int growths = 0; status == MA48_STATUS_TOO_SHORT && growths < kMostGrowths && Grow(); ++growths) {
    Analyse();  // growing loses the analysed arrays
    if (status != MA48_STATUS_OK) return Fail(kReanalysisKey);
    Factorise();
  }
  return status == MA48_STATUS_OK || Fail(kFactorisationKey);
}

/// Analyses the matrix held. A warning is a failure of this Solve, but leaves an analysis that a later one
/// uses.
void ma48::Analyse() {
  analysed = factorised = 0;
  status = MA48_STATUS_TOO_SHORT;
  if (!HasArrays()) return;
  ma48ad_(&n, &n, &ne, &job, &la, a, irn, jcn, keep, cntl, icntl, iw, info, &rinfo);
  status = ma48_info(info, MA48_INFO_STATUS);
  analysed = status >= 0;
}

void ma48::Factorise() {
  factorised = 0;
  status = analysed ? MA48_STATUS_TOO_SHORT : MA48_STATUS_INCOMPATIBLE;
  if (!analysed || !HasArrays()) return;
  ma48bd_(&n, &n, &ne, &job, &la, a, irn, jcn, keep, cntl, icntl, w, iw, info, &rinfo);
  status = ma48_info(info, MA48_INFO_STATUS);
  factorised = status >= 0;
}

int ma48::GrownLength() const {
  const int needed = ma48_info(info, MA48_INFO_FACTOR_LENGTH);
  return needed > la ? needed : la + std::min(kMostPlaces - la, ne);
}

/// Gives the entries more room and loads them. False: memory is refused.
bool ma48::Grow() {
  if (!HasArrays()) return false;
  SetLa(GrownLength());  // its result is ignored: the analysis judges what was loaded
  return HasArrays();
}

void ma48::AllocateMissing() {
  if (!irn) irn = allocate_zeros<int>(la);
  if (!jcn) jcn = allocate_zeros<int>(la);
  if (!keep) keep = allocate_zeros<int>(ma48_keep_length(m, n));
  if (!iw) iw = allocate_zeros<int>(ma48_iw_length(n, n));
  if (!a) a = allocate_zeros<double>(la);
  if (!w) w = allocate_zeros<double>(ma48_w_length(n, n));
}

void ma48::ReplaceEntries(int newLa) {
  la = newLa;
  Corvid_delete(a);
  Corvid_delete(irn);
  Corvid_delete(jcn);
  a = allocate_zeros<double>(la);
  irn = allocate_zeros<int>(la);
  jcn = allocate_zeros<int>(la);
}

bool ma48::HasArrays() const { return irn && jcn && keep && iw && a && w; }

/// Traces the line of `key`. Returns false.
bool ma48::Fail(const char* key) const {
  const char* const format = FindString(key).Characters();
  const bool singular = key == kSingularKey;
  Trace(singular ? FormattedText(format, n, ma48_info(info, MA48_INFO_STRUCTURAL_RANK))
                 : FormattedText(format, status),
        0, nullptr);
  return false;
}
