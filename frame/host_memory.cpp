#include "frame/host_memory.h"

void* HostAllocated::operator new(std::size_t bytes) noexcept { return Corvid_new(bytes); }
void* HostAllocated::operator new[](std::size_t bytes) noexcept { return Corvid_new(bytes); }
void HostAllocated::operator delete(void* block) noexcept { Corvid_delete(block); }
void HostAllocated::operator delete[](void* block) noexcept { Corvid_delete(block); }
void* HostAllocated::operator new(std::size_t, void* place) noexcept { return place; }
void HostAllocated::operator delete(void*, void*) noexcept {}
