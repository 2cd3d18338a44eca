# The package for Windows: one archive with all that is installed, to be unpacked anywhere.

set(CPACK_GENERATOR ZIP)
set(CPACK_PACKAGE_NAME corvidnum)
set(CPACK_PACKAGE_VENDOR "Corvid Numerics")
set(CPACK_PACKAGE_FILE_NAME corvidnum-${PROJECT_VERSION}-windows-x86_64)
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_STRIP_FILES ON)
set(CPACK_VERBATIM_VARIABLES ON)
include(CPack)
