#pragma once

// The loader of this system sends no thread notifications. So a thread is attached when it first enters an
// exported operation, and detached when it ends.

namespace corvidnum {

// Plain thread-local data of the initial-exec model: testing it costs one load and one compare, and it has no
// destructor that would keep the library mapped after dlclose.
extern __thread bool thread_is_attached __attribute__((tls_model("initial-exec")));

/// Marks the calling thread as attached, sends thread attach, and arranges for thread detach at its end.
void attach_thread();

/// Attaches the calling thread if it is new.
inline void enter_library() {
  if (__builtin_expect(!thread_is_attached, 0)) attach_thread();
}

}  // namespace corvidnum
