// The system's part of the host support library on Linux. A file is replaced in three steps, so that its name
// leads to a complete file at any time: write a new file beside it, synchronise that with the disk, rename
// it.

#include "host/platform.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <fenv.h>
#include <locale.h>
#include <sys/auxv.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace corvid_host {
namespace {

constexpr const char* kNoMemory = "no memory is left";
constexpr const char* kNotRegular = "it is not a regular file";
constexpr const char* kTooLong = "the file is too long";

thread_local bool own_memory = false;

std::atomic<unsigned> threads_numbered{0};
thread_local unsigned number_of_thread = 0;  // 0: none yet

constexpr mode_t kReadAndWriteForAll = 0666;  // of a new file; the system subtracts the process's umask

const char* system_error() { return strerrordesc_np(errno); }

/// A file descriptor, or none if the number is negative; closes it at the end.
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
/// @return the number of bytes read; below 0 on a failure
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

/// Returns the path with symbolic links resolved, or the path itself if no file exists there. Empty if memory
/// is refused.
Text resolved(const char* path) {
  char* const real = realpath(path, nullptr);
  const Text text(real ? real : path);
  std::free(real);
  return text;
}

/// Creates a new file in the folder of `path`, under a name that is not in use.
/// @return its descriptor, below 0 on a failure
int create_beside(const Text& path, Text* name) {
  static std::atomic<unsigned> serial{0};
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

/// Synchronises the folder of a file with the disk, so that the new name survives a crash. A failure is
/// ignored: whether the old or the new file has the name then, it is complete.
void synchronise_folder_of(const Text& path) {
  const char* const slash = std::strrchr(path.Characters(), '/');
  const int length = slash ? static_cast<int>(slash - path.Characters()) + 1 : 0;
  const Text folder = FormattedText("%.*s.", length, path.Characters());
  const Descriptor opened(open(folder.Characters(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (opened.Valid()) fsync(opened.Number());
}

/// Writes a new file beside `path` and synchronises it with the disk.
/// @param mode the permissions to set; null: those of a new file
/// @param name out: path of the new file
/// @return null, or why it failed
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
  const Descriptor file(open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC));  // opening a pipe must not block
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

std::FILE* open_stream(const char* path, StreamMode mode) {
  static const struct {
    int flags;
    const char* mode;
  } kModes[] = {{O_APPEND, "a+"}, {0, "r+"}, {O_CREAT | O_TRUNC, "w+"}};
  const auto& chosen = kModes[static_cast<int>(mode)];
  const int descriptor = open(path, O_RDWR | O_CLOEXEC | chosen.flags, kReadAndWriteForAll);
  if (descriptor < 0) return nullptr;
  std::FILE* const stream = fdopen(descriptor, chosen.mode);
  if (!stream) close(descriptor);
  return stream;
}

bool file_exists(const char* path) {
  struct stat status;
  return stat(path, &status) == 0 && !S_ISDIR(status.st_mode);
}

// The first mapping of the program contains its program headers, whose address the system passes in the
// auxiliary vector.
ModuleHandle program_address() {
  Dl_info info;
  void* const headers = reinterpret_cast<void*>(getauxval(AT_PHDR));
  return headers && dladdr(headers, &info) != 0 ? info.dli_fbase : nullptr;
}

int print_plainly(char* to, std::size_t room, const char* format, std::va_list arguments) {
  static const locale_t plain = newlocale(LC_ALL_MASK, "C", nullptr);
  const locale_t before = uselocale(plain);  // of this thread; null, which changes nothing, if there is none
  const int length = std::vsnprintf(to, room, format, arguments);
  uselocale(before);
  return length;
}

bool memory_is_own() { return own_memory; }
void set_memory_is_own(bool own) { own_memory = own; }

unsigned thread_number() {
  if (number_of_thread == 0) number_of_thread = ++threads_numbered;
  return number_of_thread;
}

void apply_float_control(FloatControl control) {
  fesetround(control.rounding);
  fedisableexcept(FE_ALL_EXCEPT & ~control.traps);
  feclearexcept(control.traps);  // an exception flag that is already set must not trap now
  feenableexcept(control.traps);
}

}  // namespace corvid_host
