# What every target of this tree has in common.

# Each room has one file for what differs between systems: platform_linux.cpp, platform_windows.cpp.
if(WIN32)
  set(CORVIDNUM_SYSTEM windows)
else()
  set(CORVIDNUM_SYSTEM linux)
endif()

# corvidnum_dll(<target>): on Windows, names the DLL as the target and its import library lib<target>.dll.a.
function(corvidnum_dll target)
  if(WIN32)
    set_target_properties(${target} PROPERTIES PREFIX "" IMPORT_PREFIX lib)
  endif()
endfunction()

# Warnings, language and the include root of one target.
function(corvidnum_defaults target)
  target_compile_features(${target} PUBLIC cxx_std_17)
  set_target_properties(${target} PROPERTIES CXX_EXTENSIONS OFF)
  target_compile_options(${target} PRIVATE
    -Wall -Wextra -Wpedantic -Wconversion -Wshadow
    # To clang alone a part of -Wconversion in C++. Programs and tests index standard containers by int.
    $<$<CXX_COMPILER_ID:Clang>:-Wno-sign-conversion>
    # Contracted multiply-adds would make results depend on the machine.
    -ffp-contract=off)
endfunction()

# The compile settings of the code that goes into the library.
function(corvidnum_library_defaults target)
  corvidnum_defaults(${target})
  set_target_properties(${target} PROPERTIES
    POSITION_INDEPENDENT_CODE ON
    C_VISIBILITY_PRESET hidden
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON)
  target_compile_options(${target} PRIVATE
    $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions>
    $<$<CXX_COMPILER_ID:Clang>:-Wsign-conversion>)
  target_include_directories(${target} PUBLIC $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>)
endfunction()
