// Tells the version of the loaded library: the text of corvidnum_version.h as it was when the library was
// built.

#include "corvidnum_version.h"

const char* corvidnum_version() { return CORVIDNUM_VERSION_TEXT; }
