#pragma once

// The processes that solve a study together. Without MPI, or where nothing has started several, there is one.
//
// Rank 0 keeps two counters in a window that all ranks reach: the next chunk, which a rank takes by one
// fetch-and-add, and how many chunks are written. Rows go to rank 0 as messages: the number of the chunk in
// eight bytes, then the text.

#include <cstdint>
#include <memory>
#include <string>

namespace study {

class Ranks {
 public:
  /// Joins the other processes if mpirun or srun has started several.
  Ranks(int& argc, char**& argv);
  ~Ranks();
  Ranks(const Ranks&) = delete;
  Ranks& operator=(const Ranks&) = delete;

  int rank() const;
  int size() const;
  /// Returns how many of the ranks share this machine.
  int on_this_machine() const;

  // These three are called by all ranks.

  /// Returns the lowest rank that says it has failed; size() if none does.
  int lowest_failed(bool failed);
  /// Returns the number that rank 0 gives.
  std::int64_t from_first(std::int64_t number);
  /// Opens the counters.
  void begin(std::int64_t first_chunk);

  // Any thread may call these, after begin() and before end().

  /// Takes a chunk.
  std::int64_t take_chunk();
  std::int64_t chunks_written();
  void set_chunks_written(std::int64_t chunks);  // by rank 0
  void send(std::int64_t chunk, const std::string& rows);
  /// Receives a message, by rank 0.
  /// @return false if none is there
  bool receive(std::int64_t& chunk, std::string& rows);

  /// Closes the counters, when all ranks have come so far and all that was sent has been received.
  void end();

  /// Ends all ranks at once, after a failure of this one.
  [[noreturn]] void abort(int code);

 private:
  struct Members;
  std::unique_ptr<Members> members_;
};

}  // namespace study
