# What `cmake --install` puts where: the libraries, their headers, and what CMake and pkg-config need
# to find them. All of it may be moved as a whole afterwards.

include(CMakePackageConfigHelpers)

get_property(include_folders GLOBAL PROPERTY QUORIA_PUBLIC_INCLUDE_FOLDERS)
foreach(folder IN LISTS include_folders ITEMS
    ${PROJECT_SOURCE_DIR}/platform/itc/include ${PROJECT_SOURCE_DIR}/platform/tpt/include)
  install(DIRECTORY ${folder}/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} FILES_MATCHING PATTERN *.h)
endforeach()

set_target_properties(quoria itc tpt PROPERTIES INSTALL_RPATH $ORIGIN)
install(TARGETS quoria itc tpt EXPORT quoriaTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(TARGETS rci RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})

set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/quoria)
install(EXPORT quoriaTargets NAMESPACE quoria:: DESTINATION ${package_folder})
configure_package_config_file(
  ${CMAKE_CURRENT_LIST_DIR}/quoriaConfig.cmake.in ${PROJECT_BINARY_DIR}/quoriaConfig.cmake
  INSTALL_DESTINATION ${package_folder})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/quoriaConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(
  FILES ${PROJECT_BINARY_DIR}/quoriaConfig.cmake ${PROJECT_BINARY_DIR}/quoriaConfigVersion.cmake
  DESTINATION ${package_folder})

# From the file to the prefix, which is known at the time of the installation only.
set(pkgconfig_folder ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH path_to_prefix /prefix/${pkgconfig_folder} /prefix)
configure_file(${CMAKE_CURRENT_LIST_DIR}/quoria.pc.in ${PROJECT_BINARY_DIR}/quoria.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/quoria.pc DESTINATION ${pkgconfig_folder})
