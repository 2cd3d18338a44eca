#pragma once

// Calls of the pivot choice, and the comparison of their results with those of the plain model.

#include <cstddef>
#include <string>

#include "sparse/ma48/kernels.h"
#include "tests/support/pivot_model.h"

namespace pivot_model {

/// All arrays have the lengths that the routine asks for, and not a place more.
inline Result select(const Problem& p, int la) {
  const auto m = static_cast<size_t>(std::max(p.m, 0)), n = static_cast<size_t>(std::max(p.n, 0));
  const auto length = static_cast<size_t>(la);
  std::vector<double> a;
  Ints irn, jcn(length, 77), iq;
  for (const auto& column : p.columns) {
    iq.push_back(static_cast<int>(a.size()) + 1);
    for (const Entry& e : column) a.push_back(e.value), irn.push_back(e.row);
  }
  const int ne = static_cast<int>(a.size());
  a.resize(length, 7.0), irn.resize(length, 77), a.shrink_to_fit(), irn.shrink_to_fit();
  Result r;
  r.ip = p.priority;
  r.iq = iq;
  Ints jfirst(m), lenr(m), lastr(m), nextr(m), iw(m), ifirst = p.sequence, lenc(n), lastc(n), nextc(n);
  corvidnum::MA50AD(&p.m, &p.n, &ne, &la, a.data(), irn.data(), jcn.data(), r.iq.data(), p.cntl.data(),
                    p.icntl.data(), r.ip.data(), &r.np, jfirst.data(), lenr.data(), lastr.data(),
                    nextr.data(), iw.data(), ifirst.data(), lenc.data(), lastc.data(), nextc.data(),
                    r.info.data(), &r.operations);
  return r;
}

/// Says where two results differ; empty if they do not. The compressions do not count.
inline std::string difference(const Result& wanted, const Result& got) {
  const auto differs = [](const std::string& what, auto expected, auto found) {
    return what + " is " + std::to_string(found) + ", in the model " + std::to_string(expected);
  };
  for (const std::size_t k : {0, 2, 3, 4, 5, 6}) {
    if (wanted.info[k] != got.info[k])
      return differs("INFO " + std::to_string(k + 1), wanted.info[k], got.info[k]);
  }
  if (wanted.np != got.np) return differs("NP", wanted.np, got.np);
  // The operations of the full part may be summed in another order.
  if (std::fabs(wanted.operations - got.operations) > 1e-15 * wanted.operations)
    return differs("the operations", wanted.operations, got.operations);
  for (std::size_t i = 0; i < wanted.ip.size(); ++i) {
    if (wanted.ip[i] != got.ip[i])
      return differs("the place of row " + std::to_string(i + 1), wanted.ip[i], got.ip[i]);
  }
  for (std::size_t j = 0; j < wanted.iq.size(); ++j) {
    if (wanted.iq[j] != got.iq[j])
      return differs("the column at place " + std::to_string(j + 1), wanted.iq[j], got.iq[j]);
  }
  return {};
}

}  // namespace pivot_model
