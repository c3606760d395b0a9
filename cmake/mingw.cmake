# The common part of both Windows toolchains. `mingw_machine` is the prefix of the tool names.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_VERSION 10.0)
set(CMAKE_SYSTEM_PROCESSOR ${mingw_machine})

# Only the posix variant of the compiler supports std::thread.
set(CMAKE_C_COMPILER ${mingw_machine}-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER ${mingw_machine}-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER ${mingw_machine}-w64-mingw32-windres)

set(CMAKE_FIND_ROOT_PATH /usr/${mingw_machine}-w64-mingw32)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Windows 10. The libraries of the compiler are linked statically, so that the product needs no additional files.
set(CMAKE_CXX_FLAGS_INIT "${mingw_flags} -D_WIN32_WINNT=0x0A00 -DWINVER=0x0A00 -DNOMINMAX -DWIN32_LEAN_AND_MEAN")
foreach(kind EXE SHARED MODULE)
  set(CMAKE_${kind}_LINKER_FLAGS_INIT "-static")
endforeach()
