/* A host that has the library loaded while it runs, calls it by the names of its routines, and has it
 * unloaded. */
#include <stdio.h>
#include <string.h>
#include <windows.h>

typedef const char* (*version_function)(void);
typedef double (*dot_function)(const int* n, const double* x, const int* incx, const double* y,
                               const int* incy);

int main(void) {
  HMODULE library = LoadLibraryW(L"corvidnum.dll");
  if (library == NULL) {
    printf("not loaded: error %lu\n", GetLastError());
    return 1;
  }
  /* By way of a pointer to any function, which may be turned into a pointer to one of another kind. */
  void (*version_address)(void) = (void (*)(void))GetProcAddress(library, "corvidnum_version");
  void (*dot_address)(void) = (void (*)(void))GetProcAddress(library, "ddot_");
  if (version_address == NULL || dot_address == NULL) {
    printf("a routine is not found\n");
    return 1;
  }
  const int n = 3, step = 1;
  const double x[] = {1, 2, 3}, y[] = {4, 5, 6};
  const double dot = ((dot_function)dot_address)(&n, x, &step, y, &step);
  const int has_version = strlen(((version_function)version_address)()) > 0;
  FreeLibrary(library);
  const int gone = GetModuleHandleW(L"corvidnum.dll") == NULL;
  printf("dot product %g, version %d, gone afterwards %d\n", dot, has_version, gone);
  return dot == 32 && has_version && gone ? 0 : 1;
}
