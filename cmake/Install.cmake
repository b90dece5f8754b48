# cmake --install: libraries, headers, the CMake package and the pkg-config files. Components are named after Debian's
# packages (Packages.cmake).

set(packageFolder ${CMAKE_INSTALL_LIBDIR}/cmake/Corvane)

# corvane_install_libraries(EXPORT DEVELOPMENT RUNTIME NAME…): these libraries with their headers; what runs belongs to the
# component RUNTIME, all else to DEVELOPMENT.
function(corvane_install_libraries export development runtime)
  list(TRANSFORM ARGN PREPEND corvane-)
  install(TARGETS ${ARGN} EXPORT ${export}
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT ${runtime}${CORVANE_SOVERSION} NAMELINK_COMPONENT ${development}
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT ${development}
    FILE_SET HEADERS COMPONENT ${development})
endfunction()

# corvane_pkg_config(NAME COMPONENT DESCRIPTION [REQUIRES package…]): the pkg-config file corvane-NAME. Programs load only
# what they use, and infra (see its CMakeLists.txt). With static libraries they need also what these are linked with.
function(corvane_pkg_config name component description)
  cmake_parse_arguments(PARSE_ARGV 3 arg "" "" "REQUIRES")
  set(package corvane-${name})
  list(JOIN arg_REQUIRES ", " requires)
  set(private)
  if(BUILD_SHARED_LIBS)
    set(needed --as-needed)
    if(name STREQUAL infra)
      set(needed --no-as-needed)
    endif()
    set(link -Wl,--push-state,${needed},-l${package},--pop-state)
  else()
    set(link -l${package})
    if(name STREQUAL infra)
      string(PREPEND link "-Wl,--undefined=${CORVANE_LOGGER_SYMBOL} ")
    endif()
    get_target_property(linked ${package} LINK_LIBRARIES)
    foreach(target IN LISTS linked)
      if(target MATCHES "^PkgConfig::(.*)")
        list(APPEND private ${${CMAKE_MATCH_1}_LDFLAGS})
      endif()
    endforeach()
    list(REMOVE_DUPLICATES private)
    list(JOIN private " " private)
  endif()
  configure_file(cmake/library.pc.in ${PROJECT_BINARY_DIR}/${package}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${package}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT ${component})
endfunction()

# Relative to the file itself, so that the installed tree can be moved.
file(RELATIVE_PATH CORVANE_PC_PREFIX /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
set(same "= ${PROJECT_VERSION}")

corvane_install_libraries(CorvaneTargets libcorvane-dev libcorvane core infra algorithms system)
corvane_install_libraries(CorvaneTargets libcorvane-dev libcorvane-testing testing)
corvane_pkg_config(core libcorvane-dev "Time values, locks, threads, queues and timers")
corvane_pkg_config(infra libcorvane-dev "Log, settings, broadcaster, bundles, HTTP and property lists"
  REQUIRES "corvane-core ${same}")
corvane_pkg_config(algorithms libcorvane-dev "PID controller and tree layout" REQUIRES "corvane-core ${same}")
corvane_pkg_config(system libcorvane-dev "Processes, commands, devices, disks, power and privileged helpers"
  REQUIRES "corvane-infra ${same}")
corvane_pkg_config(testing libcorvane-dev "A manual clock and a fake platform, for the tests of programs that use Corvane"
  REQUIRES "corvane-core ${same}")
configure_file(cmake/corvane.pc.in ${PROJECT_BINARY_DIR}/corvane.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/corvane.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT libcorvane-dev)
install(EXPORT CorvaneTargets NAMESPACE Corvane:: DESTINATION ${packageFolder} COMPONENT libcorvane-dev)

if(CORVANE_UI)
  # Apart, so that only programs that ask for it need Qt.
  corvane_install_libraries(CorvaneUiTargets libcorvane-ui-dev libcorvane-ui ui)
  corvane_pkg_config(ui libcorvane-ui-dev "Screens, icons and widgets on Qt Widgets"
    REQUIRES "corvane-system ${same}" "Qt6Widgets >= 6.4")
  install(FILES corvane/ui/resources/SearchWebView.js DESTINATION share/corvane COMPONENT libcorvane-ui${CORVANE_SOVERSION})
  install(EXPORT CorvaneUiTargets NAMESPACE Corvane:: DESTINATION ${packageFolder} COMPONENT libcorvane-ui-dev)
  if(CORVANE_HELP)
    # Loaded when it is needed, never linked; a component of its own, because the engine is larger than all the rest.
    install(TARGETS corvane-help
      LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT libcorvane-help${CORVANE_SOVERSION} NAMELINK_SKIP)
  endif()
endif()

configure_package_config_file(cmake/CorvaneConfig.cmake.in ${PROJECT_BINARY_DIR}/CorvaneConfig.cmake
  INSTALL_DESTINATION ${packageFolder})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/CorvaneConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/CorvaneConfig.cmake ${PROJECT_BINARY_DIR}/CorvaneConfigVersion.cmake
    cmake/CorvaneApplication.cmake cmake/CorvaneCatalogues.cmake cmake/CorvaneDocumentation.cmake cmake/CorvaneHelper.cmake
    cmake/CorvaneModules.cmake cmake/HelperInfo.plist.in cmake/Info.plist.in cmake/MirrorFolders.cmake
    cmake/diagnostics.cpp.in cmake/info_plist.c.in cmake/interface-files.its cmake/launcher.cpp.in
  DESTINATION ${packageFolder} COMPONENT libcorvane-dev)
install(DIRECTORY cmake/documentation cmake/its DESTINATION ${packageFolder} COMPONENT libcorvane-dev)
