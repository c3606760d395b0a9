# The Python package ulix. Its compiled part is built into python/ulix of the build folder, next to a copy of the other
# files.
option(ULIX_PYTHON "Build the Python package, with pybind11 where it is found" ON)
# The interpreter of the distribution, for which its packages are made.
set(ULIX_PYTHON_EXECUTABLE /usr/bin/python3 CACHE FILEPATH "The interpreter that the package is built for")
# Only the thread sanitizer can run inside the interpreter: configure with g++ and set LD_PRELOAD=libtsan.so.2.
if(NOT ULIX_PYTHON OR NOT EXISTS ${ULIX_PYTHON_EXECUTABLE} OR (ULIX_SANITIZERS AND NOT ULIX_SANITIZERS STREQUAL "thread"))
  return()
endif()
set(Python_EXECUTABLE ${ULIX_PYTHON_EXECUTABLE})
find_package(Python QUIET COMPONENTS Interpreter Development.Module)
find_package(pybind11 CONFIG QUIET)
if(NOT Python_FOUND OR NOT pybind11_FOUND)
  message(STATUS "pybind11 is not there: built without the Python package")
  return()
endif()
set(PYBIND11_FINDPYTHON ON)

set(package ${PROJECT_BINARY_DIR}/python/ulix)
Python_add_library(ulix_python MODULE WITH_SOABI python/module.cc)
if(ULIX_SANITIZERS)
  set_target_properties(ulix_python PROPERTIES EXCLUDE_FROM_ALL ON)
endif()
target_link_libraries(ulix_python PRIVATE pybind11::headers ulixsim ulixcert)
target_include_directories(ulix_python SYSTEM PRIVATE ${pybind11_INCLUDE_DIRS})
# The library's symbols are not exported, so that two versions can be in one process.
set_target_properties(ulix_python PROPERTIES OUTPUT_NAME _ulix LIBRARY_OUTPUT_DIRECTORY ${package}
  CXX_VISIBILITY_PRESET hidden)
target_link_options(ulix_python PRIVATE -Wl,--exclude-libs,ALL)
set_target_properties(ulixcert PROPERTIES POSITION_INDEPENDENT_CODE ON)
file(GLOB python_sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/python/ulix/*.py ${PROJECT_SOURCE_DIR}/python/ulix/*.pyi
  ${PROJECT_SOURCE_DIR}/python/ulix/py.typed)
add_custom_command(OUTPUT ${package}/stamp COMMAND ${CMAKE_COMMAND} -E copy_if_different ${python_sources} ${package}
  COMMAND ${CMAKE_COMMAND} -E touch ${package}/stamp DEPENDS ${python_sources} VERBATIM)
add_custom_target(ulix_python_sources DEPENDS ${package}/stamp)
add_dependencies(ulix_python ulix_python_sources)
