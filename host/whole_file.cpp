#include "host/whole_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "frame/corvid.h"

namespace corvid_host {
namespace {

constexpr const char* kNoMemory = "no memory is left";
constexpr const char* kNotRegular = "it is not a regular file";
constexpr const char* kTooLong = "the file is too long";

const char* system_error() { return strerrordesc_np(errno); }

class Descriptor {
 public:
  explicit Descriptor(int number) : number_(number) {}
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor() {
    if (number_ >= 0) close(number_);
  }
  int Number() const { return number_; }
  bool Valid() const { return number_ >= 0; }

 private:
  const int number_;
};

/// Reads up to `count` bytes, fewer if the file ends.
/// @return bytes read, below 0 on a failure
ssize_t read_up_to(int file, unsigned char* bytes, std::size_t count) {
  std::size_t done = 0;
  while (done < count) {
    const ssize_t step = TEMP_FAILURE_RETRY(read(file, bytes + done, count - done));
    if (step < 0) return step;
    if (step == 0) break;
    done += static_cast<std::size_t>(step);
  }
  return static_cast<ssize_t>(done);
}

bool write_all(int file, const unsigned char* bytes, std::size_t count) {
  while (count > 0) {
    const ssize_t step = TEMP_FAILURE_RETRY(write(file, bytes, count));
    if (step < 0) return false;
    bytes += step;
    count -= static_cast<std::size_t>(step);
  }
  return true;
}

/// What symbolic links lead to; a path that leads nowhere yet stays as it is.
Text resolved(const char* path) {
  char* const real = realpath(path, nullptr);
  const Text text(real ? real : path);
  std::free(real);
  return text;
}

/// Creates a file beside `path` that no one else uses.
int create_beside(const Text& path, Text* name) {
  static std::atomic<unsigned> serial{0};
  constexpr mode_t kReadAndWriteForAll = 0666;  // less the process's mask
  int file;
  do {
    *name = FormattedText("%s.new-%ld-%u", path.Characters(), static_cast<long>(getpid()), serial++);
    if (name->Length() == 0) {
      errno = ENOMEM;
      return -1;
    }
    file = open(name->Characters(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, kReadAndWriteForAll);
  } while (file < 0 && errno == EEXIST);
  return file;
}

/// Brings the new name itself onto the disk. A folder that cannot be synchronised is no failure: whichever
/// file its name leads to is complete.
void synchronise_folder_of(const Text& path) {
  const char* const slash = std::strrchr(path.Characters(), '/');
  const int length = slash ? static_cast<int>(slash - path.Characters()) + 1 : 0;
  const Text folder = FormattedText("%.*s.", length, path.Characters());
  const Descriptor opened(open(folder.Characters(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (opened.Valid()) fsync(opened.Number());
}

/// @param mode the permissions to set; null: those of a new file
const char* write_beside(const Text& path, const mode_t* mode, const unsigned char* bytes, std::size_t count,
                         Text* name) {
  const Descriptor file(create_beside(path, name));
  if (!file.Valid()) return system_error();
  const bool written = (!mode || fchmod(file.Number(), *mode) == 0) &&
                       write_all(file.Number(), bytes, count) && fsync(file.Number()) == 0;
  return written ? nullptr : system_error();
}

}  // namespace

const char* read_whole_file(const char* path, std::size_t most, unsigned char** bytes, std::size_t* count) {
  *bytes = nullptr;
  const Descriptor file(open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC));  // a pipe must not make it wait
  struct stat status;
  if (!file.Valid() || fstat(file.Number(), &status) != 0) return system_error();
  if (!S_ISREG(status.st_mode)) return kNotRegular;
  const std::size_t size = static_cast<std::size_t>(status.st_size);
  if (size > most) return kTooLong;

  unsigned char* const block = static_cast<unsigned char*>(Corvid_malloc(size));
  if (!block) return kNoMemory;
  const ssize_t read = read_up_to(file.Number(), block, size);
  if (read < 0) {
    const char* const why = system_error();
    Corvid_free(block);
    return why;
  }
  *bytes = block;
  *count = static_cast<std::size_t>(read);
  return nullptr;
}

const char* replace_file(const char* path, const unsigned char* bytes, std::size_t count) {
  const Text target = resolved(path);
  if (target.Length() == 0) return kNoMemory;
  struct stat old;
  const bool exists = stat(target.Characters(), &old) == 0;
  if (exists && !S_ISREG(old.st_mode)) return kNotRegular;
  if (exists && access(target.Characters(), W_OK) != 0) return system_error();
  const mode_t mode = exists ? old.st_mode & 0777 : 0;

  Text beside;
  const char* why = write_beside(target, exists ? &mode : nullptr, bytes, count, &beside);
  if (!why && rename(beside.Characters(), target.Characters()) != 0) why = system_error();
  if (why) {
    unlink(beside.Characters());
  } else {
    synchronise_folder_of(target);
  }
  return why;
}

}  // namespace corvid_host
