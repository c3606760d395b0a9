set(mingw_machine i686)
# SSE rounds as the 64-bit build does; the 80-bit x87 registers would not. 32-bit hosts align the stack to 4 bytes only.
set(mingw_flags "-msse2 -mfpmath=sse -mstackrealign")
include(${CMAKE_CURRENT_LIST_DIR}/mingw.cmake)
