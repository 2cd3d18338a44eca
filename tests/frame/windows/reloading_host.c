/* A host that loads and unloads a library again and again: reloading_host LIBRARY
 * It links nothing of the library, so that each unload is the last one. What one load would leave behind,
 * such as one of the system's 1088 slots for data of threads, is missing in the end. */
#include <stdio.h>
#include <windows.h>

enum { kRounds = 1500 };

typedef void* (*new_function)(size_t bytes);
typedef void (*delete_function)(void* block);

/* By way of a pointer to any function, which may be turned into a pointer to one of another kind. */
typedef void (*any_function)(void);

/* Allocates a block as a host does. Returns whether that works. */
static int uses(HMODULE library) {
  const any_function new_address = (any_function)GetProcAddress(library, "Corvid_new");
  const any_function delete_address = (any_function)GetProcAddress(library, "Corvid_delete");
  void* const block = ((new_function)new_address)(1);
  ((delete_function)delete_address)(block);
  return block != NULL;
}

int main(int count, char** arguments) {
  if (count != 2) return 2;
  const DWORD slot_before = TlsAlloc();
  TlsFree(slot_before);
  for (int round = 0; round < kRounds; ++round) {
    const HMODULE library = LoadLibraryA(arguments[1]);
    const HMODULE host = GetModuleHandleW(L"corvid.dll");
    if (library == NULL || host == NULL || !uses(host)) {
      printf("round %d: not loaded, or of no use: error %lu\n", round, GetLastError());
      return 1;
    }
    FreeLibrary(library);
    if (GetModuleHandleW(L"corvid.dll") != NULL) {
      printf("round %d: still loaded\n", round);
      return 1;
    }
  }
  const DWORD slot = TlsAlloc();
  printf("the first free slot is %lu, and was %lu\n", slot, slot_before);
  return slot != slot_before;
}
