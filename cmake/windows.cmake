# The parts of the build machine that a Windows build uses.

# The header-only packages of the distribution are linked into a separate folder, because their own folder also contains
# the headers of the build machine's C library.
set(header_folder ${CMAKE_BINARY_DIR}/headers)
file(MAKE_DIRECTORY ${header_folder})
foreach(package tl CLI nlohmann)
  if(NOT IS_DIRECTORY /usr/include/${package})
    message(FATAL_ERROR "/usr/include/${package} is missing; scripts/setup installs it")
  endif()
  file(CREATE_LINK /usr/include/${package} ${header_folder}/${package} SYMBOLIC)
endforeach()
include_directories(SYSTEM ${header_folder})

# The 32-bit and the 64-bit build have separate Wines.
if(CMAKE_SYSTEM_PROCESSOR STREQUAL "x86_64")
  set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_SOURCE_DIR}/scripts/wine)
else()
  set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_SOURCE_DIR}/scripts/wine32)
endif()

# A batch of sources has more sections than the plain object format can count.
add_compile_options(-Wa,-mbig-obj)

# There is no GoogleTest package for Windows; it is built from the source package.
set(BUILD_GMOCK ON)
set(INSTALL_GTEST OFF)
add_subdirectory(/usr/src/googletest ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL SYSTEM)
foreach(library gtest gtest_main gmock gmock_main)
  target_compile_options(${library} PRIVATE -w)
endforeach()

