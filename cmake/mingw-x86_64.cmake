set(mingw_machine x86_64)
include(${CMAKE_CURRENT_LIST_DIR}/mingw.cmake)
