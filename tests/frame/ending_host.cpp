// A host that ends while its threads do: no notification may meet another, or a record that is gone.

#include <thread>
#include <vector>

#include "frame/numeric_runtime.h"

int main() {
  for (int i = 0; i < 8; ++i) {
    std::thread([] {
      const int selector = 1;
      d1mach_(&selector);
    }).detach();
  }
  return 0;
}
