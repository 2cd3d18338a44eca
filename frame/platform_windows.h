#pragma once

namespace corvidnum {

/// Does nothing: the system tells of every thread, whether it enters the library or not.
inline void enter_library() {}

}  // namespace corvidnum
