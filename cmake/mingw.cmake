# What both Windows compilers have in common; `mingw_machine` is the first word of the tools' names.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_VERSION 10.0)
set(CMAKE_SYSTEM_PROCESSOR ${mingw_machine})

# The threads of the C++ library come with the posix flavour only.
set(CMAKE_C_COMPILER ${mingw_machine}-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER ${mingw_machine}-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER ${mingw_machine}-w64-mingw32-windres)

set(CMAKE_FIND_ROOT_PATH /usr/${mingw_machine}-w64-mingw32)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Windows 10, and nothing of the compiler's own to be shipped beside the product.
set(CMAKE_CXX_FLAGS_INIT "${mingw_flags} -D_WIN32_WINNT=0x0A00 -DWINVER=0x0A00 -DNOMINMAX -DWIN32_LEAN_AND_MEAN")
foreach(kind EXE SHARED MODULE)
  set(CMAKE_${kind}_LINKER_FLAGS_INIT "-static")
endforeach()
