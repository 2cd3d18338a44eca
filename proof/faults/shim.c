// Lets calls of a program fail, where LD_PRELOAD puts this library before all others. Only what the program
// does from main() on counts, and nothing on the error stream, on which it tells of the failure.
//
//   FAULT_CALLS   memory: malloc, calloc, realloc, aligned allocations, and by them operator new;
//                 files:  open, fopen, fdopen, write, writev, fwrite, fputs, fputc, fflush, fclose, close,
//                         fsync, rename, unlink, remove, mkdir, fchmod, fchmodat
//   FAULT_AT      the number of the call at which it happens, from 1
//   FAULT_HOW     once: that call fails; from: all later ones too; full: that one writes half, all later ones
//                 find the disk full; short: that one writes half; denied: it lacks the right; kill-before,
//                 kill-after: the process is killed; vanish: FAULT_FOLDER is renamed first
//   FAULT_SEEN    a file that gets the line "seen" when the call is reached, and "unsynchronised" when a file
//                 is renamed that no fsync has brought to the disk as it is; at the end "calls" and their
//                 number
//
// Not covered, though the programs make them: read, fread, stat, access, canonical paths and flock. They make
// neither pwrite nor fdatasync, and they read no folders (openat, opendir, readdir).

#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <stdarg.h>
#include <stdatomic.h>
#include <stdbool.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

#define VISIBLE __attribute__((visibility("default")))

enum Calls { kNoCalls, kMemory, kFiles };
enum How { kOnce, kFrom, kFull, kShort, kDenied, kKillBefore, kKillAfter, kVanish };

static const char* const how_names[] = {"once",   "from",        "full",       "short",
                                        "denied", "kill-before", "kill-after", "vanish"};

static enum Calls calls = kNoCalls;  // that are counted; none before main()
static enum How how;
static long at;
static atomic_long count;

// What is asked for is found before main(): to find it later would allocate.
static ssize_t (*real_write)(int, const void*, size_t);
static ssize_t (*real_writev)(int, const struct iovec*, int);
static int (*real_close)(int);
static int (*real_fsync)(int);
static int (*real_rename)(const char*, const char*);
static int (*real_unlink)(const char*);
static int (*real_remove)(const char*);
static int (*real_mkdir)(const char*, mode_t);
static int (*real_fchmod)(int, mode_t);
static int (*real_fchmodat)(int, const char*, mode_t, int);
static FILE* (*real_fopen)(const char*, const char*);
static FILE* (*real_fdopen)(int, const char*);
static int (*real_fflush)(FILE*);
static int (*real_fclose)(FILE*);
static size_t (*real_fwrite)(const void*, size_t, size_t, FILE*);
static int (*real_fputs)(const char*, FILE*);
static int (*real_fputc)(int, FILE*);

extern void* __libc_malloc(size_t);
extern void* __libc_calloc(size_t, size_t);
extern void* __libc_realloc(void*, size_t);
extern void* __libc_memalign(size_t, size_t);

static void find(void* function, const char* name) {
  void* const found = dlsym(RTLD_NEXT, name);
  memcpy(function, &found, sizeof found);
}

static void tell(const char* line) {
  const char* const seen = getenv("FAULT_SEEN");
  const int file = seen ? (int)syscall(SYS_openat, AT_FDCWD, seen, O_WRONLY | O_CREAT | O_APPEND, 0600) : -1;
  if (file < 0) return;
  syscall(SYS_write, file, line, strlen(line));
  syscall(SYS_close, file);
}

static void make_the_folder_vanish(void) {
  const char* const folder = getenv("FAULT_FOLDER");
  char other[4096];
  if (!folder || (size_t)snprintf(other, sizeof other, "%s.gone", folder) >= sizeof other) return;
  syscall(SYS_rename, folder, other);
}

enum Fate { kGoesOn, kFails, kWritesHalf };

// Counts a call and says what becomes of it.
static enum Fate fate_of(enum Calls kind) {
  if (calls != kind) return kGoesOn;
  const long number = atomic_fetch_add(&count, 1) + 1;
  if (number < at) return kGoesOn;
  if (number == at) {
    tell("seen\n");
    if (how == kKillBefore) syscall(SYS_kill, getpid(), SIGKILL);
    if (how == kVanish) make_the_folder_vanish();
    if (how == kFull || how == kShort) return kWritesHalf;
  }
  errno = kind == kMemory ? ENOMEM : how == kFull ? ENOSPC : how == kDenied ? EACCES : EIO;
  if (number == at) return how == kOnce || how == kFrom || how == kDenied ? kFails : kGoesOn;
  return how == kFrom || how == kFull ? kFails : kGoesOn;
}

// Is called behind each call of the files that was made.
static void done(void) {
  if (calls == kFiles && how == kKillAfter && atomic_load(&count) == at) syscall(SYS_kill, getpid(), SIGKILL);
}

// ---- Memory

VISIBLE void* malloc(size_t bytes) { return fate_of(kMemory) == kFails ? NULL : __libc_malloc(bytes); }
VISIBLE void* calloc(size_t number, size_t bytes) {
  return fate_of(kMemory) == kFails ? NULL : __libc_calloc(number, bytes);
}
VISIBLE void* realloc(void* block, size_t bytes) {
  return fate_of(kMemory) == kFails ? NULL : __libc_realloc(block, bytes);
}
VISIBLE void* aligned_alloc(size_t alignment, size_t bytes) {
  return fate_of(kMemory) == kFails ? NULL : __libc_memalign(alignment, bytes);
}
VISIBLE int posix_memalign(void** block, size_t alignment, size_t bytes) {
  void* const found = aligned_alloc(alignment, bytes);
  if (found) *block = found;
  return found ? 0 : ENOMEM;
}

// ---- Files

// What a full disk lets pass: all that writes nothing.
static int passes_when_full(enum Fate fate) { return how == kFull && fate == kFails; }

// The files that were brought to the disk, with the sizes that they had then. The programs write their files
// in one thread.
enum { kMostFiles = 256 };
static struct {
  dev_t device;
  ino_t number;
  off_t size;  // kUnknown behind a later write
} synchronised[kMostFiles];
static int files;
static const off_t kUnknown = -1;

// Returns the index of a file, `files` if it is not there.
static int find_file(const struct stat* file) {
  int i = 0;
  while (i < files && !(synchronised[i].device == file->st_dev && synchronised[i].number == file->st_ino))
    ++i;
  return i;
}

static void note_write(int file) {
  struct stat state;
  if (calls != kFiles || file <= STDERR_FILENO || fstat(file, &state) != 0) return;
  const int i = find_file(&state);
  if (i < files) synchronised[i].size = kUnknown;
}

static void note_fsync(int file) {
  struct stat state;
  if (calls != kFiles || fstat(file, &state) != 0) return;
  const int i = find_file(&state);
  if (i == kMostFiles) return;
  if (i == files) ++files;
  synchronised[i].device = state.st_dev;
  synchronised[i].number = state.st_ino;
  synchronised[i].size = state.st_size;
}

// A stream whose bytes were still in its buffer at fsync() has grown since.
static bool is_on_disk(const char* path) {
  struct stat state;
  if (calls != kFiles || stat(path, &state) != 0) return true;
  const int i = find_file(&state);
  return i < files && synchronised[i].size == state.st_size;
}

VISIBLE ssize_t write(int file, const void* bytes, size_t number) {
  note_write(file);
  const enum Fate fate = file == STDERR_FILENO ? kGoesOn : fate_of(kFiles);
  if (fate == kFails) return -1;
  const ssize_t written = real_write(file, bytes, fate == kWritesHalf && number > 1 ? number / 2 : number);
  done();
  return written;
}

VISIBLE ssize_t writev(int file, const struct iovec* parts, int number) {
  note_write(file);
  const enum Fate fate = file == STDERR_FILENO ? kGoesOn : fate_of(kFiles);
  if (fate == kFails) return -1;
  ssize_t written;
  if (fate == kWritesHalf && number > 0 && parts[0].iov_len > 1)
    written = real_write(file, parts[0].iov_base, parts[0].iov_len / 2);
  else
    written = real_writev(file, parts, number);
  done();
  return written;
}

// A stream that has failed tells so by ferror(), too. The C library has no function that sets the mark.
static void mark_as_failed(FILE* stream) {
  const int kErrorSeen = 0x20;  // _IO_ERR_SEEN of glibc
  stream->_flags |= kErrorSeen;
}

VISIBLE size_t fwrite(const void* bytes, size_t size, size_t number, FILE* stream) {
  note_write(fileno(stream));
  const enum Fate fate = stream == stderr ? kGoesOn : fate_of(kFiles);
  if (fate != kGoesOn) mark_as_failed(stream);
  if (fate == kFails) return 0;
  const size_t written = real_fwrite(bytes, size, fate == kWritesHalf ? number / 2 : number, stream);
  done();
  return written;
}

VISIBLE int fputc(int character, FILE* stream) {
  note_write(fileno(stream));
  const enum Fate fate = stream == stderr ? kGoesOn : fate_of(kFiles);
  if (fate != kGoesOn) {  // there is no half of a character
    mark_as_failed(stream);
    return EOF;
  }
  const int written = real_fputc(character, stream);
  done();
  return written;
}

VISIBLE int fputs(const char* text, FILE* stream) {
  note_write(fileno(stream));
  const enum Fate fate = stream == stderr ? kGoesOn : fate_of(kFiles);
  if (fate == kFails) {
    mark_as_failed(stream);
    return EOF;
  }
  const int written = real_fputs(text, stream);
  done();
  return written;
}

VISIBLE int fflush(FILE* stream) {
  const enum Fate fate = stream == stderr ? kGoesOn : fate_of(kFiles);
  if (fate == kFails) {
    if (stream) mark_as_failed(stream);
    return EOF;
  }
  const int result = real_fflush(stream);
  done();
  return result;
}

// A stream and a file are closed even if that fails.
VISIBLE int fclose(FILE* stream) {
  const enum Fate fate = stream == stderr ? kGoesOn : fate_of(kFiles);
  const int why = errno;
  const int result = real_fclose(stream);
  done();
  errno = why;
  return fate == kFails ? EOF : result;
}
VISIBLE int close(int file) {
  const enum Fate fate = file == STDERR_FILENO ? kGoesOn : fate_of(kFiles);
  const int why = errno;
  const int result = real_close(file);
  done();
  if (fate == kFails && !passes_when_full(fate)) {
    errno = why;
    return -1;
  }
  return result;
}

VISIBLE int fsync(int file) {
  if (fate_of(kFiles) == kFails) return -1;
  const int result = real_fsync(file);
  if (result == 0) note_fsync(file);
  done();
  return result;
}

// Opens a file; on a full disk an old one can still be opened, but no new one be made.
static int open_checked(int folder, const char* path, int flags, mode_t mode) {
  const enum Fate fate = fate_of(kFiles);
  if (fate == kFails && !(passes_when_full(fate) && (flags & O_CREAT) == 0)) return -1;
  const int file = (int)syscall(SYS_openat, folder, path, flags, mode);
  done();
  return file;
}

static mode_t mode_of(int flags, va_list more) {
  return (flags & (O_CREAT | __O_TMPFILE)) != 0 ? va_arg(more, mode_t) : 0;
}

VISIBLE int open(const char* path, int flags, ...) {
  va_list more;
  va_start(more, flags);
  const mode_t mode = mode_of(flags, more);
  va_end(more);
  return open_checked(AT_FDCWD, path, flags, mode);
}
VISIBLE int open64(const char* path, int flags, ...) __attribute__((alias("open")));

VISIBLE FILE* fopen(const char* path, const char* mode) {
  const enum Fate fate = fate_of(kFiles);
  if (fate == kFails && !(passes_when_full(fate) && mode[0] == 'r')) return NULL;
  FILE* const stream = real_fopen(path, mode);
  done();
  return stream;
}
VISIBLE FILE* fopen64(const char* path, const char* mode) __attribute__((alias("fopen")));

VISIBLE FILE* fdopen(int file, const char* mode) {
  const enum Fate fate = fate_of(kFiles);
  if (fate == kFails && !passes_when_full(fate)) return NULL;
  FILE* const stream = real_fdopen(file, mode);
  done();
  return stream;
}

VISIBLE int rename(const char* old, const char* new) {
  const enum Fate fate = fate_of(kFiles);
  if (fate == kFails && !passes_when_full(fate)) return -1;
  if (!is_on_disk(old)) tell("unsynchronised\n");
  const int result = real_rename(old, new);
  done();
  return result;
}
// These two never fail, because the programs clear up by them; the process may be killed here.
VISIBLE int unlink(const char* path) {
  fate_of(kFiles);
  const int result = real_unlink(path);
  done();
  return result;
}
VISIBLE int remove(const char* path) {
  fate_of(kFiles);
  const int result = real_remove(path);
  done();
  return result;
}
VISIBLE int mkdir(const char* path, mode_t mode) {
  if (fate_of(kFiles) == kFails) return -1;
  const int result = real_mkdir(path, mode);
  done();
  return result;
}
VISIBLE int fchmod(int file, mode_t mode) {
  const enum Fate fate = fate_of(kFiles);
  if (fate == kFails && !passes_when_full(fate)) return -1;
  const int result = real_fchmod(file, mode);
  done();
  return result;
}
VISIBLE int fchmodat(int folder, const char* path, mode_t mode, int flags) {
  const enum Fate fate = fate_of(kFiles);
  if (fate == kFails && !passes_when_full(fate)) return -1;
  const int result = real_fchmodat(folder, path, mode, flags);
  done();
  return result;
}

// ---- The beginning of main()

typedef int Main(int, char**, char**);
static Main* real_main;

static int begin_to_count(int argc, char** argv, char** environment) {
  const char* const wanted = getenv("FAULT_CALLS");
  const char* const number = getenv("FAULT_AT");
  const char* const name = getenv("FAULT_HOW");
  if (!wanted || !number || !name) return real_main(argc, argv, environment);
  at = strtol(number, NULL, 10);
  for (int i = 0; i < (int)(sizeof how_names / sizeof *how_names); ++i) {
    if (strcmp(name, how_names[i]) == 0) how = (enum How)i;
  }
  calls = strcmp(wanted, "memory") == 0 ? kMemory : kFiles;
  return real_main(argc, argv, environment);
}

__attribute__((constructor)) static void find_all(void) {
  find(&real_write, "write");
  find(&real_writev, "writev");
  find(&real_close, "close");
  find(&real_fsync, "fsync");
  find(&real_rename, "rename");
  find(&real_unlink, "unlink");
  find(&real_remove, "remove");
  find(&real_mkdir, "mkdir");
  find(&real_fchmod, "fchmod");
  find(&real_fchmodat, "fchmodat");
  find(&real_fopen, "fopen");
  find(&real_fdopen, "fdopen");
  find(&real_fflush, "fflush");
  find(&real_fclose, "fclose");
  find(&real_fwrite, "fwrite");
  find(&real_fputs, "fputs");
  find(&real_fputc, "fputc");
}

__attribute__((destructor)) static void tell_number(void) {
  char line[40];
  snprintf(line, sizeof line, "calls %ld\n", atomic_load(&count));
  calls = kNoCalls;
  tell(line);
}

VISIBLE int __libc_start_main(Main* program, int argc, char** argv, void (*begin)(void), void (*end)(void),
                              void (*end_of_linker)(void), void* end_of_stack);
int __libc_start_main(Main* program, int argc, char** argv, void (*begin)(void), void (*end)(void),
                      void (*end_of_linker)(void), void* end_of_stack) {
  typedef int Start(Main*, int, char**, void (*)(void), void (*)(void), void (*)(void), void*);
  Start* start;
  find(&start, "__libc_start_main");
  real_main = program;
  return start(begin_to_count, argc, argv, begin, end, end_of_linker, end_of_stack);
}
