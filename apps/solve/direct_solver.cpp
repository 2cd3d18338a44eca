#include "apps/solve/direct_solver.h"

#include <fmt/format.h>

#include "apps/solve/ma38_solver.h"
#include "apps/solve/ma48_solver.h"

namespace solve {

const char* name_of(Method method) { return method == Method::kMa48 ? "ma48" : "ma38"; }

std::unique_ptr<DirectSolver> make_solver(const Matrix& matrix, const SolverSettings& settings) {
  const auto entries = matrix.value.size();
  if (entries < static_cast<std::size_t>(matrix.rows))
    throw Singular(fmt::format("{}:{}: the matrix is structurally singular: {} entries, order {}",
                               matrix.name, matrix.size_line, entries, matrix.rows));
  if (settings.method == Method::kMa38) return std::make_unique<Ma38Solver>(matrix, settings);
  return std::make_unique<Ma48Solver>(matrix, settings);
}

std::runtime_error refusal(const Matrix& matrix, const char* phase, bool no_room, int status) {
  if (no_room)
    return std::runtime_error(fmt::format("{}: the {} needs more room than there is", matrix.name, phase));
  return std::runtime_error(fmt::format("{}: the {} ended with code {}", matrix.name, phase, status));
}

}  // namespace solve
