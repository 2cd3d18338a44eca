// A host that sets up the open host support library and watches the memory it gives.
#include <dense/regular_matrix.h>
#include <host/corvid_host.h>

#include <cstdio>

int main() {
  const auto before = corvid_host::LiveBlocks();
  auto* const matrix = new RegularMatrix(3, 3);
  const auto held = corvid_host::LiveBlocks() - before;
  delete matrix;
  const auto left = corvid_host::LiveBlocks() - before;

  corvid_host::FailAllocationsFrom(2);
  auto* const starved = new RegularMatrix(3, 3);
  const bool noticed = starved && !starved->Valid();
  corvid_host::StopFailing();
  delete starved;

  std::printf("blocks held %ld, left %ld; failure noticed %d\n", static_cast<long>(held),
              static_cast<long>(left), noticed);
  return held > 0 && left == 0 && noticed ? 0 : 1;
}
