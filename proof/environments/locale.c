// A library to preload: it makes a program take the locale of its environment, as a host may do, before main
// begins. It ends a program that cannot have that locale, so that no run passes in another one.

#include <locale.h>
#include <stdlib.h>

__attribute__((constructor)) static void take_locale(void) {
  const int asked = !getenv("LC_ALL");  // scripts set that to "C" for their own tools
  if (!setlocale(LC_ALL, "") || (asked && localeconv()->decimal_point[0] != ',')) _Exit(99);
}
