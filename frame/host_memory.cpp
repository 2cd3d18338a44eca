// Class-level new and delete on the host's allocator.

#include "frame/host_memory.h"

#include "frame/module.h"

using corvidnum::enter_library;

void* HostAllocated::operator new(std::size_t bytes) noexcept {
  enter_library();
  return Corvid_new(bytes);
}

void* HostAllocated::operator new[](std::size_t bytes) noexcept {
  enter_library();
  return Corvid_new(bytes);
}

void HostAllocated::operator delete(void* block) noexcept {
  enter_library();
  Corvid_delete(block);
}

void HostAllocated::operator delete[](void* block) noexcept {
  enter_library();
  Corvid_delete(block);
}

void* HostAllocated::operator new(std::size_t, void* place) noexcept { return place; }
void HostAllocated::operator delete(void*, void*) noexcept {}
