#pragma once

// The processes that solve a study together.
//
// Rank 0 keeps two counters in a window that all ranks reach: the next chunk, which a rank takes by one
// fetch-and-add, and how many chunks are written. Rows go to rank 0 as messages: the number of the chunk in
// eight bytes, then the text.

#include <cstdint>
#include <memory>
#include <string>

#include "apps/support/processes.h"

namespace study {

class Ranks : public apps::Processes {
 public:
  Ranks(int& argc, char**& argv);
  ~Ranks();

  /// Opens the counters. All ranks call it.
  void begin(std::int64_t first_chunk);

  // Any thread may call these, after begin() and before end().

  /// Takes a chunk.
  std::int64_t take_chunk();
  std::int64_t chunks_written();
  void set_chunks_written(std::int64_t chunks);  // by rank 0
  void send(std::int64_t chunk, const std::string& rows);
  /// Receives a message, by rank 0.
  /// @return false if none is there as a whole
  bool receive(std::int64_t& chunk, std::string& rows);

  /// Closes the counters, when all ranks have come so far and all that was sent has been received.
  void end();

 private:
  struct Members;
  std::unique_ptr<Members> members_;
};

}  // namespace study
