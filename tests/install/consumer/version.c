#include <corvidnum_version.h>
#include <stdio.h>
#include <string.h>

/* Headers, library and package file, whose version is PACKAGE_VERSION, tell the same version. */
int main(void) {
  int major = 0, minor = 0, patch = 0;
  sscanf(PACKAGE_VERSION, "%d.%d.%d", &major, &minor, &patch);
  printf("headers %s (%d), library %s, package %s\n", CORVIDNUM_VERSION_TEXT, CORVIDNUM_VERSION,
         corvidnum_version(), PACKAGE_VERSION);
  return strcmp(CORVIDNUM_VERSION_TEXT, PACKAGE_VERSION) == 0 &&
                 strcmp(corvidnum_version(), PACKAGE_VERSION) == 0 &&
                 CORVIDNUM_VERSION == 10000 * major + 100 * minor + patch
             ? 0
             : 1;
}
