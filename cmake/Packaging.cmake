# Installation (runtime and development components) and packages.  Consumers find the library with
# find_package(tamba) or pkg-config; they need the shared library and the headers, nothing else.
include(CMakePackageConfigHelpers)
set(TAMBA_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/tamba)

install(TARGETS tamba EXPORT tambaTargets
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT dev
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT dev)
install(DIRECTORY include/tamba DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT dev FILES_MATCHING PATTERN *.h)
install(EXPORT tambaTargets NAMESPACE tamba:: DESTINATION ${TAMBA_CMAKE_DIR} COMPONENT dev)

configure_package_config_file(cmake/tambaConfig.cmake.in ${PROJECT_BINARY_DIR}/tambaConfig.cmake
  INSTALL_DESTINATION ${TAMBA_CMAKE_DIR} NO_SET_AND_CHECK_MACRO NO_CHECK_REQUIRED_COMPONENTS_MACRO)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/tambaConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/tambaConfig.cmake ${PROJECT_BINARY_DIR}/tambaConfigVersion.cmake
  DESTINATION ${TAMBA_CMAKE_DIR} COMPONENT dev)

# The way from the .pc file's folder to the prefix, so that the installed tree can be moved.
file(RELATIVE_PATH TAMBA_PC_TO_PREFIX ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
configure_file(cmake/tamba.pc.in ${PROJECT_BINARY_DIR}/tamba.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/tamba.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT dev)

set(CPACK_PACKAGE_VENDOR tamba)
set(CPACK_PACKAGE_CONTACT "tamba maintainers <tamba@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY ${PROJECT_DESCRIPTION})
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_COMPONENTS_ALL runtime dev)
if(WIN32)
  set(CPACK_GENERATOR ZIP)
else()
  set(CPACK_GENERATOR DEB)
  set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
  set(CPACK_STRIP_FILES ON)
  set(CPACK_DEB_COMPONENT_INSTALL ON)
  set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
  set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
  set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libtamba${PROJECT_VERSION_MAJOR})
  set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
  set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
  set(CPACK_DEBIAN_RUNTIME_DESCRIPTION "The shared library.")
  set(CPACK_DEBIAN_DEV_PACKAGE_NAME libtamba-dev)
  set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
  set(CPACK_DEBIAN_DEV_PACKAGE_SHLIBDEPS OFF)
  set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS
    "libtamba${PROJECT_VERSION_MAJOR} (= ${PROJECT_VERSION}), libiniparser-dev")
  set(CPACK_DEBIAN_DEV_DESCRIPTION "Headers, CMake package and pkg-config file.")
endif()
include(CPack)
