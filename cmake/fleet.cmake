# Benches on an MQTT broker: the library ulixfleet and the program ulix-publish. They need libmosquitto and protobuf.
option(ULIX_MQTT "Publish to MQTT brokers, with libmosquitto and protobuf where they are found" ON)
if(NOT ULIX_MQTT)
  return()
endif()
find_package(Protobuf QUIET)
find_library(ULIX_MOSQUITTO mosquitto)
find_path(ULIX_MOSQUITTO_INCLUDE mosquitto.h)
if(NOT Protobuf_FOUND OR NOT Protobuf_PROTOC_EXECUTABLE OR NOT ULIX_MOSQUITTO OR NOT ULIX_MOSQUITTO_INCLUDE)
  message(STATUS "libmosquitto or protobuf is not there: built without ulix-publish and without ulix watch mqtt://")
  return()
endif()

# The generated file does not meet the warnings of this project.
set(made ${PROJECT_BINARY_DIR}/fleet)
file(MAKE_DIRECTORY ${made})
add_custom_command(OUTPUT ${made}/sparkplug_b.pb.cc ${made}/sparkplug_b.pb.h
  COMMAND ${Protobuf_PROTOC_EXECUTABLE} --cpp_out=${PROJECT_BINARY_DIR} -I${PROJECT_SOURCE_DIR} fleet/sparkplug_b.proto
  DEPENDS ${PROJECT_SOURCE_DIR}/fleet/sparkplug_b.proto VERBATIM)
set_source_files_properties(${made}/sparkplug_b.pb.cc PROPERTIES COMPILE_OPTIONS -w)
ulix_sources(fleet_sources fleet)
add_library(ulixfleet STATIC ${fleet_sources} ${made}/sparkplug_b.pb.cc)
target_include_directories(ulixfleet SYSTEM PUBLIC ${Protobuf_INCLUDE_DIRS} ${ULIX_MOSQUITTO_INCLUDE})
target_link_libraries(ulixfleet PUBLIC ulixsim PRIVATE ${ULIX_MOSQUITTO} protobuf::libprotobuf-lite)
set_source_files_properties(${PROJECT_SOURCE_DIR}/fleet/payload.cc PROPERTIES COMPILE_OPTIONS -Wno-conversion)
ulix_precompile(ulixfleet)
