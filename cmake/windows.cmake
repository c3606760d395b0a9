# What a build for Windows needs of the machine that it is built on.

# The distribution's header-only packages, linked into a folder of their own: the folder that they are installed in holds
# the build machine's C library too.
set(header_folder ${CMAKE_BINARY_DIR}/headers)
file(MAKE_DIRECTORY ${header_folder})
foreach(package tl CLI nlohmann)
  if(NOT IS_DIRECTORY /usr/include/${package})
    message(FATAL_ERROR "/usr/include/${package} is missing; scripts/setup installs it")
  endif()
  file(CREATE_LINK /usr/include/${package} ${header_folder}/${package} SYMBOLIC)
endforeach()
include_directories(SYSTEM ${header_folder})

# Each bitness has a Wine of its own.
if(CMAKE_SYSTEM_PROCESSOR STREQUAL "x86_64")
  set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_SOURCE_DIR}/scripts/wine)
else()
  set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_SOURCE_DIR}/scripts/wine32)
endif()

# GoogleTest is not packaged for Windows, but its sources are.
set(BUILD_GMOCK ON)
set(INSTALL_GTEST OFF)
add_subdirectory(/usr/src/googletest ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL SYSTEM)
foreach(library gtest gtest_main gmock gmock_main)
  target_compile_options(${library} PRIVATE -w)
endforeach()

