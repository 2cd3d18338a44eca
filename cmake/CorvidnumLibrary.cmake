# The library (libcorvidnum.so, corvidnum.dll) and, from the same objects, the archive that tests of internal routines link.

# Public headers keep their room as folder, in the tree and installed alike.
set(CORVIDNUM_PUBLIC_HEADERS
  corvidnum.h
  corvidnum_version.h
  frame/corvid.h
  frame/debug_out.h
  frame/empty_value.h
  frame/export.h
  frame/host_memory.h
  frame/numeric_runtime.h
  dense/matrix.h
  dense/regular_matrix.h
  dense/arrow_matrix.h
  dense/singular_value_decomposition.h
  util/bitmap.h
  util/data_graph.h
  tables/bounded_secant.h
  tables/interpolator.h
  tables/line_fit.h
  tables/xy_table.h
  tables/regress_table.h
  accel/accel.h
  accel/dom_eigen_accel.h
  accel/mul_dom_eigen_accel.h
  accel/fixed_point.h
  accel/corvidnum_fixed_point.h
  reorder/gpskca.h
  sparse/ma48/ma48_codes.h
  sparse/ma48/ma48_routines.h
  sparse/ma48/ma48.h
  sparse/ma38/ma38_codes.h
  sparse/ma38/ma38_routines.h
  sparse/corvidnum_sparse.h
  sparse/sparse_solver.h)

# For scripts/abi, which tells public types from others by the header that they come from.
list(JOIN CORVIDNUM_PUBLIC_HEADERS "\n" header_lines)
file(WRITE ${CMAKE_CURRENT_BINARY_DIR}/public_headers "${header_lines}\n")

# Installed beside the headers: a host that wants a log, or is written in Fortran, compiles them.
set(CORVIDNUM_HOST_SOURCES frame/debug_out.cpp corvidnum.f90)

# Those of the headers that compile as C too.
set(CORVIDNUM_C_HEADERS
  accel/corvidnum_fixed_point.h
  corvidnum_version.h
  frame/export.h
  frame/numeric_runtime.h
  reorder/gpskca.h
  sparse/ma48/ma48_codes.h
  sparse/ma48/ma48_routines.h
  sparse/ma38/ma38_codes.h
  sparse/ma38/ma38_routines.h
  sparse/corvidnum_sparse.h)

set(CORVIDNUM_SOURCES
  frame/host_memory.cpp
  frame/module.cpp
  frame/platform_${CORVIDNUM_SYSTEM}.cpp
  frame/math_errors.cpp
  frame/numeric_runtime.cpp
  frame/version.cpp
  dense/lu.cpp
  dense/regular_matrix.cpp
  dense/arrow_matrix.cpp
  dense/singular_value_decomposition.cpp
  util/bitmap.cpp
  util/data_graph.cpp
  tables/bounded_secant.cpp
  tables/interpolator.cpp
  tables/line_fit.cpp
  tables/point_sort.cpp
  tables/xy_table.cpp
  tables/regress_table.cpp
  accel/debug_line.cpp
  accel/vectors.cpp
  accel/accel.cpp
  accel/dom_eigen_accel.cpp
  accel/mul_dom_eigen_accel.cpp
  accel/small_eigenvalues.cpp
  accel/fixed_point_options.cpp
  accel/fixed_point_scaling.cpp
  accel/fixed_point_spectrum.cpp
  accel/fixed_point_steps.cpp
  accel/fixed_point_progress.cpp
  accel/fixed_point_state.cpp
  accel/fixed_point.cpp
  accel/corvidnum_fixed_point.cpp
  reorder/sorts.cpp
  reorder/level_structures.cpp
  reorder/combination.cpp
  reorder/numbering.cpp
  reorder/gpskca.cpp
  sparse/ma48/defaults.cpp
  sparse/ma48/matching.cpp
  sparse/ma48/strong_components.cpp
  sparse/ma48/list_store.cpp
  sparse/ma48/row_kernels.cpp
  sparse/ma48/pivot_selection.cpp
  sparse/ma48/analysis.cpp
  sparse/ma48/keep_check.cpp
  sparse/ma48/full_factor.cpp
  sparse/ma48/column_factor.cpp
  sparse/ma48/factorisation.cpp
  sparse/ma48/full_solve.cpp
  sparse/ma48/column_solve.cpp
  sparse/ma48/block_solve.cpp
  sparse/ma48/norm_estimator.cpp
  sparse/ma48/solve.cpp
  sparse/ma48/queries.cpp
  sparse/ma48/ma48.cpp
  sparse/ma38/report/messages.cpp
  sparse/ma38/matrix/convert.cpp
  sparse/ma38/matrix/btf_permute.cpp
  sparse/ma38/matrix/offdiag_rows.cpp
  sparse/ma38/blocks/driver_end.cpp
  sparse/ma38/blocks/factor_driver.cpp
  sparse/ma38/calls/factor_call.cpp
  sparse/ma38/factors/kept_factors.cpp
  sparse/ma38/factors/solve_kernels.cpp
  sparse/ma38/factors/solve_driver.cpp
  sparse/ma38/print/print.cpp
  sparse/ma38/print/factors.cpp
  sparse/ma38/front/controls.cpp
  sparse/ma38/front/column_objects.cpp
  sparse/ma38/store/object_store.cpp
  sparse/ma38/store/garbage_collection.cpp
  sparse/ma38/store/checks.cpp
  sparse/ma38/front/setup.cpp
  sparse/ma38/front/block_setup.cpp
  sparse/ma38/front/kernel.cpp
  sparse/ma38/front/search.cpp
  sparse/ma38/front/forming.cpp
  sparse/ma38/front/assembly.cpp
  sparse/ma38/front/numeric.cpp
  sparse/ma38/front/finish.cpp
  sparse/ma38/front/checks.cpp
  sparse/ma38/calls/defaults.cpp
  sparse/ma38/front/degree_lists.cpp
  sparse/ma38/calls/factorise.cpp
  sparse/ma38/calls/refactor.cpp
  sparse/ma38/blocks/refactor_driver.cpp
  sparse/ma38/matrix/prior_pattern.cpp
  sparse/ma38/replay/kernel.cpp
  sparse/ma38/replay/front.cpp
  sparse/ma38/replay/assembly.cpp
  sparse/ma38/replay/numeric.cpp
  sparse/ma38/replay/memory.cpp
  sparse/ma38/replay/garbage_collection.cpp
  sparse/ma38/calls/solve.cpp
  sparse/ma38/calls/queries.cpp
  sparse/solver/structure.cpp
  sparse/solver/norm_estimate.cpp
  sparse/solver/scaling.cpp
  sparse/solver/system.cpp
  sparse/solver/judge.cpp
  sparse/solver/options.cpp
  sparse/solver/choice.cpp
  sparse/solver/ma48_engine.cpp
  sparse/solver/ma38_engine.cpp
  sparse/solver/factors.cpp
  sparse/solver/solver.cpp
  sparse/solver/diagnosis.cpp
  sparse/solver/sparse_solver.cpp
  sparse/solver/c_interface.cpp)

add_library(corvidnum_objects OBJECT ${CORVIDNUM_SOURCES})
corvidnum_library_defaults(corvidnum_objects)
# The host defines DebugOut, so its type information is out of reach.
set_source_files_properties(accel/debug_line.cpp PROPERTIES
  COMPILE_OPTIONS $<$<BOOL:${CORVIDNUM_SANITIZE}>:-fno-sanitize=vptr>)

if(MINGW)
  # This compiler takes stack space of 16-byte alignment for registers of 32 bytes, so moves must not need more.
  set_source_files_properties(accel/vectors.cpp sparse/ma48/row_kernels.cpp PROPERTIES COMPILE_OPTIONS -Wa,-muse-unaligned-vector-move)
endif()

# Counters of lines and branches, which every program that uses the library adds up in a file of profiles/ at its end.
if(CORVIDNUM_COVERAGE)
  set(counters -fprofile-instr-generate=${PROJECT_BINARY_DIR}/profiles/%8m.profraw)
  target_compile_options(corvidnum_objects PRIVATE ${counters} -fcoverage-mapping)
endif()

add_library(corvidnum SHARED $<TARGET_OBJECTS:corvidnum_objects>)
add_library(corvidnum::corvidnum ALIAS corvidnum)
set_target_properties(corvidnum PROPERTIES
  VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR} LINKER_LANGUAGE CXX)
target_compile_features(corvidnum PUBLIC cxx_std_17)
target_include_directories(corvidnum PUBLIC
  $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>
  $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/corvidnum>)
target_link_libraries(corvidnum PRIVATE corvid LAPACK::LAPACK BLAS::BLAS ${CMAKE_DL_LIBS})
corvidnum_dll(corvidnum)
if(WIN32)
  target_sources(corvidnum PRIVATE cmake/corvidnum.def)
else()
  # What is imported from libcorvid.so has no version, because a host's own library of that name has no version nodes.
  set(version_script ${CMAKE_CURRENT_BINARY_DIR}/corvidnum.map)
  configure_file(cmake/corvidnum.map.in ${version_script} @ONLY)
  set_target_properties(corvidnum PROPERTIES LINK_DEPENDS ${version_script})
  # Run paths that LD_LIBRARY_PATH can override: a host brings its own libcorvid.so and BLAS.
  target_link_options(corvidnum PRIVATE
    $<$<NOT:$<BOOL:${CORVIDNUM_SANITIZE}>>:-Wl,--no-undefined> -Wl,--enable-new-dtags
    -Wl,--version-script=${version_script})
endif()

add_library(corvidnum_internal STATIC EXCLUDE_FROM_ALL $<TARGET_OBJECTS:corvidnum_objects>)
target_include_directories(corvidnum_internal PUBLIC ${PROJECT_SOURCE_DIR})
set_target_properties(corvidnum_internal PROPERTIES LINKER_LANGUAGE CXX)
target_link_libraries(corvidnum_internal PUBLIC corvid LAPACK::LAPACK BLAS::BLAS ${CMAKE_DL_LIBS})

if(CORVIDNUM_COVERAGE)
  target_link_options(corvidnum PRIVATE ${counters})
  target_link_options(corvidnum_internal PUBLIC ${counters})
endif()
