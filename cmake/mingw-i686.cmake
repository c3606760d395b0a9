set(mingw_machine i686)
# Float steps round as they do in 64 bits, not in the old 80-bit registers; hosts align the stack to 4 bytes only.
set(mingw_flags "-msse2 -mfpmath=sse -mstackrealign")
include(${CMAKE_CURRENT_LIST_DIR}/mingw.cmake)
