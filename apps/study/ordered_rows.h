#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <string>

namespace study {

/// How many chunks may be under way or done beyond the first one that is not done. It bounds the memory of
/// rows that wait for their turn.
constexpr std::int64_t kWindow = 1024;

/// Brings the rows of chunks into the order of the study. Any thread may call.
class OrderedRows {
 public:
  /// @param first  chunk that is next
  /// @param sink   gets the rows of each chunk, in order, one call at a time
  OrderedRows(std::int64_t first, std::function<void(const std::string& rows)> sink);

  /// Takes the rows of a chunk, and hands on all that are next. Throws what the sink throws, which
  /// may have taken a part of those rows: it gets no more, and all waiting ends.
  void take(std::int64_t chunk, std::string rows);

  /// Waits until a chunk may be begun. Whoever waits must not hold an earlier chunk.
  /// @return false if it need not be begun any more, because of stop()
  bool wait_for_room(std::int64_t chunk);

  /// Ends all waiting.
  void stop();

  /// Returns the first chunk that the sink has not got.
  std::int64_t next();

 private:
  std::mutex mutex_;
  std::condition_variable moved_;
  std::int64_t next_;
  bool stopped_ = false, sink_failed_ = false;
  std::map<std::int64_t, std::string> waiting_;
  const std::function<void(const std::string&)> sink_;
};

}  // namespace study
