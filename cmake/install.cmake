# Says what is installed and where: the program with its manual pages and completions, the service, the Python package,
# the library with its headers, and the rule for serial devices. scripts/package makes a package of each component.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

# --- component program ---
# The pages and completions come from the program's own table of verbs.
set(made ${CMAKE_BINARY_DIR}/installed)
find_program(ULIX_GZIP gzip REQUIRED)
add_custom_command(OUTPUT ${made}/ulix.stamp
  COMMAND ${CMAKE_COMMAND} -E rm -rf ${made}/man
  COMMAND ulix help --man-pages ${made}/man --lang en
  COMMAND sh -c "'${ULIX_GZIP}' -9nf '${made}'/man/*.1"
  COMMAND ulix help --completion bash > ${made}/ulix.bash
  COMMAND ulix help --completion zsh > ${made}/_ulix
  COMMAND ${CMAKE_COMMAND} -E touch ${made}/ulix.stamp
  DEPENDS ulix VERBATIM)
file(MAKE_DIRECTORY ${made})
add_custom_target(pages ALL DEPENDS ${made}/ulix.stamp)

install(TARGETS ulix COMPONENT program)
if(TARGET usb_helper_libusb)
  # In the folder of the program, which looks for the library there.
  install(TARGETS usb_helper_libusb LIBRARY DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT program)
endif()
install(DIRECTORY ${made}/man/ DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT program)
install(FILES ${made}/ulix.bash DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME ulix
  COMPONENT program)
install(FILES ${made}/_ulix DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/site-functions COMPONENT program)
install(FILES LICENSE DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/ulix RENAME copyright COMPONENT program)

# --- component publish ---
if(TARGET ulix-publish)
  install(TARGETS ulix-publish COMPONENT publish)
  set(ULIX_UNIT_DIR lib/systemd/system CACHE STRING "Where the unit of the service goes")
  install(FILES "tools/ulix_publish/ulix-publish@.service" DESTINATION ${ULIX_UNIT_DIR} COMPONENT publish)
  install(FILES docs/fleet.md DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/ulix-publish COMPONENT publish)
  install(FILES LICENSE DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/ulix-publish RENAME copyright COMPONENT publish)
endif()

# --- component python ---
if(TARGET ulix_python)
  set(ULIX_PYTHON_DIR lib/python3/dist-packages CACHE STRING "Where the distribution's interpreter looks for packages")
  install(TARGETS ulix_python LIBRARY DESTINATION ${ULIX_PYTHON_DIR}/ulix COMPONENT python)
  install(FILES ${python_sources} DESTINATION ${ULIX_PYTHON_DIR}/ulix COMPONENT python)
  install(FILES docs/python.md DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/python3-ulix COMPONENT python)
  install(FILES LICENSE DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/python3-ulix RENAME copyright COMPONENT python)
endif()

# --- component library ---
set_target_properties(ulixinstr PROPERTIES EXPORT_NAME instr)
install(TARGETS ulixinstr EXPORT ulix COMPONENT library)
foreach(room base calibration core drivers forms links platform resources sessions)
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/${room} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/ulix COMPONENT library
    FILES_MATCHING PATTERN "*.h" PATTERN "*.def" PATTERN posix EXCLUDE PATTERN win32 EXCLUDE PATTERN dcc EXCLUDE
    PATTERN without_dcc EXCLUDE PATTERN files EXCLUDE)
endforeach()
install(FILES ${PROJECT_BINARY_DIR}/generated/error_codes.def ${PROJECT_BINARY_DIR}/generated/mutex.h
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/ulix/generated
  COMPONENT library)
set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/ulix)
install(EXPORT ulix FILE ulixTargets.cmake NAMESPACE ulix:: DESTINATION ${package_folder} COMPONENT library)
configure_package_config_file(cmake/ulixConfig.cmake.in ${made}/ulixConfig.cmake INSTALL_DESTINATION ${package_folder})
write_basic_package_version_file(${made}/ulixConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${made}/ulixConfig.cmake ${made}/ulixConfigVersion.cmake DESTINATION ${package_folder} COMPONENT library)
configure_file(cmake/ulix.pc.in ${made}/ulix.pc @ONLY)
install(FILES ${made}/ulix.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT library)
install(FILES LICENSE DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/libulix-dev RENAME copyright COMPONENT library)

# --- component udev ---
# Debian reads the rules of packages from /lib. With another prefix the rules are installed below it and must be copied.
set(ULIX_UDEV_RULES_DIR lib/udev/rules.d CACHE STRING "Where the rule for serial devices goes")
install(FILES cmake/60-ulix.rules DESTINATION ${ULIX_UDEV_RULES_DIR} COMPONENT udev)
install(FILES LICENSE DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/ulix-udev RENAME copyright COMPONENT udev)

include(cmake/packages.cmake)
