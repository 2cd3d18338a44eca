#pragma once

// A log in a folder of its own that ends with the test, read back from the disk.

#include "frame/debug_out.h"
#include "tests/host/own_folder.h"

namespace test_support {

class LogFile : public OwnFolder {
 protected:
  Text name() const { return Text(name_of(folder_ / "debug").c_str()); }
  std::string content() const { return content_of(folder_ / "debug.LOG"); }
  /// What `use` writes into a new log.
  template <class Use>
  std::string written(Use&& use) const {
    {
      DebugOut log(name(), 0, 0);
      log.Open();
      use(log);
    }
    return content();
  }
};

}  // namespace test_support
