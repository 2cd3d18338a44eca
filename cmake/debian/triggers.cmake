# Run by cpack when the packages are made. CPack has the package of a library call ldconfig in its maintainer scripts;
# Debian wants it to activate the trigger of that name instead, so that ldconfig runs once in a run of apt.

foreach(package IN LISTS CPACK_PACKAGE_FILES)
  if(NOT package MATCHES "/libcorvidnum[0-9]+_[^/]*$")
    continue()
  endif()
  set(folder ${CPACK_TEMPORARY_DIRECTORY}/with_trigger)
  file(REMOVE_RECURSE ${folder})
  execute_process(COMMAND dpkg-deb --raw-extract ${package} ${folder} COMMAND_ERROR_IS_FATAL ANY)
  file(REMOVE ${folder}/DEBIAN/postinst ${folder}/DEBIAN/postrm)
  file(WRITE ${folder}/DEBIAN/triggers "activate-noawait ldconfig\n")
  execute_process(COMMAND dpkg-deb --root-owner-group --build ${folder} ${package}
    OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
endforeach()
