#include "apps/study/ordered_rows.h"

#include <utility>

namespace study {

OrderedRows::OrderedRows(std::int64_t first, std::function<void(const std::string&)> sink)
    : next_(first), sink_(std::move(sink)) {}

void OrderedRows::take(std::int64_t chunk, std::string rows) {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (sink_failed_) return;
  waiting_.emplace(chunk, std::move(rows));
  try {
    while (!waiting_.empty() && waiting_.begin()->first == next_) {
      sink_(waiting_.begin()->second);
      waiting_.erase(waiting_.begin());
      ++next_;
    }
  } catch (...) {
    sink_failed_ = stopped_ = true;
    moved_.notify_all();
    throw;
  }
  moved_.notify_all();
}

bool OrderedRows::wait_for_room(std::int64_t chunk) {
  std::unique_lock<std::mutex> lock(mutex_);
  moved_.wait(lock, [&] { return stopped_ || chunk < next_ + kWindow; });
  return !stopped_;
}

void OrderedRows::stop() {
  const std::lock_guard<std::mutex> lock(mutex_);
  stopped_ = true;
  moved_.notify_all();
}

std::int64_t OrderedRows::next() {
  const std::lock_guard<std::mutex> lock(mutex_);
  return next_;
}

}  // namespace study
