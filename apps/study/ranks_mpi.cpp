#include <mpi.h>

#include <cstring>
#include <iterator>
#include <list>
#include <mutex>
#include <vector>

#include "apps/study/ranks.h"

namespace study {
namespace {

enum Counter : MPI_Aint { kNextChunk, kWritten, kCounters };

}  // namespace

/// All calls of MPI after begin() are made under the lock: the library is asked for no more than that.
struct Ranks::Members {
  std::mutex mutex;
  std::int64_t* counters = nullptr;  // of this rank; rank 0 has them
  MPI_Win window = MPI_WIN_NULL;
  struct Message {
    std::vector<char> bytes;
    MPI_Request request = MPI_REQUEST_NULL;
  };
  std::list<Message> sent;      // not known to be received
  std::list<Message> incoming;  // not known to be here as a whole

  std::int64_t fetch(Counter counter, std::int64_t operand, MPI_Op operation) {
    const std::lock_guard<std::mutex> lock(mutex);
    std::int64_t former = 0;
    MPI_Fetch_and_op(&operand, &former, MPI_INT64_T, 0, counter, operation, window);
    MPI_Win_flush(0, window);
    return former;
  }

  void forget_received() {
    for (auto message = sent.begin(); message != sent.end();) {
      int received = 0;
      MPI_Test(&message->request, &received, MPI_STATUS_IGNORE);
      message = received ? sent.erase(message) : std::next(message);
    }
  }

  /// Begins to receive all messages that have been announced.
  void begin_to_receive() {
    while (begin_to_receive_one()) {
    }
  }
  bool begin_to_receive_one() {
    int there = 0, count = 0;
    MPI_Message announced = MPI_MESSAGE_NULL;
    MPI_Status status;
    MPI_Improbe(MPI_ANY_SOURCE, 0, MPI_COMM_WORLD, &there, &announced, &status);
    if (!there) return false;
    MPI_Get_count(&status, MPI_CHAR, &count);
    Message& message = incoming.emplace_back();
    message.bytes.resize(static_cast<std::size_t>(count));
    MPI_Imrecv(message.bytes.data(), count, MPI_CHAR, &announced, &message.request);
    return true;
  }
};

Ranks::Ranks(int& argc, char**& argv) : Processes(argc, argv), members_(std::make_unique<Members>()) {}
Ranks::~Ranks() = default;

void Ranks::begin(std::int64_t first_chunk) {
  const MPI_Aint bytes = rank() == 0 ? kCounters * static_cast<MPI_Aint>(sizeof(std::int64_t)) : 0;
  MPI_Win_allocate(bytes, sizeof(std::int64_t), MPI_INFO_NULL, MPI_COMM_WORLD, &members_->counters,
                   &members_->window);
  MPI_Win_lock_all(0, members_->window);
  if (rank() == 0) {
    members_->fetch(kNextChunk, first_chunk, MPI_REPLACE);
    members_->fetch(kWritten, first_chunk, MPI_REPLACE);
  }
  MPI_Barrier(MPI_COMM_WORLD);
}

std::int64_t Ranks::take_chunk() { return members_->fetch(kNextChunk, 1, MPI_SUM); }
std::int64_t Ranks::chunks_written() { return members_->fetch(kWritten, 0, MPI_NO_OP); }
void Ranks::set_chunks_written(std::int64_t chunks) { members_->fetch(kWritten, chunks, MPI_REPLACE); }

void Ranks::send(std::int64_t chunk, const std::string& rows) {
  const std::lock_guard<std::mutex> lock(members_->mutex);
  members_->forget_received();
  Members::Message& message = members_->sent.emplace_back();
  message.bytes.resize(sizeof chunk + rows.size());
  std::memcpy(message.bytes.data(), &chunk, sizeof chunk);
  std::memcpy(message.bytes.data() + sizeof chunk, rows.data(), rows.size());
  MPI_Isend(message.bytes.data(), static_cast<int>(message.bytes.size()), MPI_CHAR, 0, 0, MPI_COMM_WORLD,
            &message.request);
}

// A large message comes by parts, for which its sender has to call MPI, and that may do so only after its
// next chunk. To wait for it under the lock would keep the workers of this rank from taking chunks.
bool Ranks::receive(std::int64_t& chunk, std::string& rows) {
  const std::lock_guard<std::mutex> lock(members_->mutex);
  members_->begin_to_receive();
  for (auto message = members_->incoming.begin(); message != members_->incoming.end(); ++message) {
    int whole = 0;
    MPI_Test(&message->request, &whole, MPI_STATUS_IGNORE);
    if (!whole) continue;
    std::memcpy(&chunk, message->bytes.data(), sizeof chunk);
    rows.assign(message->bytes.begin() + sizeof chunk, message->bytes.end());
    members_->incoming.erase(message);
    return true;
  }
  return false;
}

void Ranks::end() {
  for (Members::Message& message : members_->sent) MPI_Wait(&message.request, MPI_STATUS_IGNORE);
  members_->sent.clear();
  MPI_Barrier(MPI_COMM_WORLD);
  MPI_Win_unlock_all(members_->window);
  MPI_Win_free(&members_->window);
}

}  // namespace study
