# cmake --install: libraries, headers, the CMake package and the pkg-config files.

set(packageFolder ${CMAKE_INSTALL_LIBDIR}/cmake/Corvane)

install(TARGETS corvane-core corvane-infra corvane-algorithms corvane-system corvane-testing EXPORT CorvaneTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} FILE_SET HEADERS)
install(EXPORT CorvaneTargets NAMESPACE Corvane:: DESTINATION ${packageFolder})
set(packages corvane corvane-testing)
if(CORVANE_UI)
  # Apart, so that only programs that ask for it need Qt.
  install(TARGETS corvane-ui EXPORT CorvaneUiTargets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} FILE_SET HEADERS)
  install(FILES corvane/ui/resources/SearchWebView.js DESTINATION share/corvane)
  install(EXPORT CorvaneUiTargets NAMESPACE Corvane:: DESTINATION ${packageFolder})
  if(CORVANE_HELP)
    # Loaded when it is needed, never linked; a component of its own, because the engine is larger than all the rest.
    install(TARGETS corvane-help LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT help NAMELINK_SKIP)
  endif()
  list(APPEND packages corvane-ui)
endif()

configure_package_config_file(cmake/CorvaneConfig.cmake.in ${PROJECT_BINARY_DIR}/CorvaneConfig.cmake
  INSTALL_DESTINATION ${packageFolder})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/CorvaneConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/CorvaneConfig.cmake ${PROJECT_BINARY_DIR}/CorvaneConfigVersion.cmake
    cmake/CorvaneApplication.cmake cmake/MirrorFolders.cmake cmake/CorvaneCatalogues.cmake cmake/CorvaneDocumentation.cmake cmake/interface-files.its cmake/CorvaneHelper.cmake cmake/HelperInfo.plist.in cmake/Info.plist.in cmake/info_plist.c.in cmake/launcher.cpp.in cmake/diagnostics.cpp.in
  DESTINATION ${packageFolder})
install(DIRECTORY cmake/documentation cmake/its DESTINATION ${packageFolder})

# Relative to the file itself, so that the installed tree can be moved.
file(RELATIVE_PATH CORVANE_PC_PREFIX /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
foreach(package IN LISTS packages)
  configure_file(cmake/${package}.pc.in ${PROJECT_BINARY_DIR}/${package}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${package}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endforeach()
