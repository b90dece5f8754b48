# Debian packages of the installed components, by CPack: ./dev package. What policy wants beyond installed files is in
# packages/stage.cmake; what depends on system libraries is found by dpkg-shlibdeps, also for those of this project.

set(CPACK_GENERATOR DEB)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_PACKAGE_NAME corvane)
set(CPACK_PACKAGE_CONTACT "The Corvane authors <corvane@example.org>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")  # each package has its own
set(CPACK_SET_DESTDIR ON)                  # a file that is made while installing names /usr
set(CPACK_INSTALL_PREFIX /usr)
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/packages/stage.cmake)
set(CPACK_CORVANE_SOURCE ${PROJECT_SOURCE_DIR})
set(CPACK_CORVANE_SOVERSION ${CORVANE_SOVERSION})
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SOURCE corvane)
set(CPACK_DEBIAN_PACKAGE_RELEASE 0.1)  # a package in a distribution, from -1, takes precedence
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
set(CPACK_COMPONENTS_ALL)

# corvane_package(NAME SECTION section SUMMARY text TEXT line… [MULTI_ARCH value] [LIBRARIES] [ARCHITECTURE all]
#   [OVERRIDES file…] [EXACTLY package…] [DEPENDS package…] [RECOMMENDS package…] [SUGGESTS package…])
# The package of the component NAME.
# EXACTLY names packages of this project that it needs in its own version, beside those whose libraries it is linked with;
# LIBRARIES says that it contains such. OVERRIDES are files of packages/overrides: what lintian finds though it is right.
macro(corvane_package name)
  cmake_parse_arguments(arg "LIBRARIES" "SECTION;SUMMARY;MULTI_ARCH;ARCHITECTURE"
    "TEXT;OVERRIDES;EXACTLY;DEPENDS;RECOMMENDS;SUGGESTS" ${ARGN})
  list(APPEND CPACK_COMPONENTS_ALL ${name})
  string(TOUPPER ${name} NAME)
  list(JOIN arg_TEXT "\n" text)
  set(CPACK_COMPONENT_${NAME}_DESCRIPTION "${arg_SUMMARY}\n${text}")
  set(CPACK_COMPONENT_${NAME}_DEPENDS ${arg_EXACTLY})
  set(CPACK_DEBIAN_${NAME}_PACKAGE_NAME ${name})
  set(CPACK_DEBIAN_${NAME}_PACKAGE_SECTION ${arg_SECTION})
  if(arg_MULTI_ARCH)  # a field of its own, for which CPack has no variable before 3.31
    string(APPEND CPACK_DEBIAN_${NAME}_PACKAGE_SECTION "\nMulti-Arch: ${arg_MULTI_ARCH}")
  endif()
  if(arg_ARCHITECTURE)
    set(CPACK_DEBIAN_${NAME}_PACKAGE_ARCHITECTURE ${arg_ARCHITECTURE})
  endif()
  if(arg_LIBRARIES)
    set(CPACK_DEBIAN_${NAME}_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/cmake/packages/triggers)
  endif()
  set(CPACK_CORVANE_OVERRIDES_${name} ${arg_OVERRIDES})
  foreach(relation IN ITEMS DEPENDS RECOMMENDS SUGGESTS)
    list(JOIN arg_${relation} ", " CPACK_DEBIAN_${NAME}_PACKAGE_${relation})
  endforeach()
endmacro()

set(so ${CORVANE_SOVERSION})
set(about "Corvane is a utility framework in C++20 for desktop applications, with or"
  "without a toolkit: it shares the main loop of Qt and GTK." .)

corvane_package(libcorvane${so} SECTION libs MULTI_ARCH same LIBRARIES OVERRIDES ldconfig sonames
  RECOMMENDS ca-certificates SUGGESTS corvane-helpers udisks2
  SUMMARY "utility framework for desktop applications - libraries"
  TEXT ${about} "These are its libraries without a user interface: timers, queues, log,"
    "settings, HTTP requests, processes, devices, disks and power.")
corvane_package(libcorvane-testing${so} SECTION libs MULTI_ARCH same LIBRARIES OVERRIDES ldconfig
  SUMMARY "utility framework for desktop applications - fakes for tests"
  TEXT ${about} "This library has a manual clock and a fake platform, for the tests of"
    "applications that use the framework.")
corvane_package(libcorvane-dev SECTION libdevel
  EXACTLY libcorvane-testing${so} DEPENDS libexpected-dev
  SUGGESTS cmark-gfm cmake gettext libcorvane-ui-dev pkgconf
  SUMMARY "utility framework for desktop applications - development files"
  TEXT ${about} "This package has the headers, the CMake package and the pkg-config files"
    "of the libraries without a user interface.")
corvane_package(corvane-helpers SECTION admin RECOMMENDS polkitd
  SUMMARY "utility framework for desktop applications - root service"
  TEXT ${about} "This is the service that installs the privileged helpers of applications,"
    "after an administrator has agreed.")
if(CORVANE_UI)
  set(help)
  if(CORVANE_HELP)
    set(help libcorvane-help${so})
  endif()
  corvane_package(libcorvane-ui${so} SECTION libs MULTI_ARCH same LIBRARIES OVERRIDES ldconfig RECOMMENDS ${help} "qt6-svg-plugins | libqt6svg6"
    SUMMARY "utility framework for desktop applications - user interface"
    TEXT ${about} "This library has the components on Qt Widgets: windows that remember their"
      "place, tables, popovers, help pages, icons and screens.")
  corvane_package(libcorvane-ui-dev SECTION libdevel EXACTLY libcorvane-dev libcorvane-ui${so} DEPENDS qt6-base-dev
    SUMMARY "utility framework for desktop applications - user interface, development"
    TEXT ${about} "This package has the headers, the CMake package and the pkg-config file of"
      "the user interface.")
endif()
if(CORVANE_HELP)
  corvane_package(libcorvane-help${so} SECTION libs MULTI_ARCH same LIBRARIES OVERRIDES ldconfig
    SUMMARY "utility framework for desktop applications - web view of help pages"
    TEXT ${about} "This library is loaded by the user interface when it shows help pages."
      "Without it they are shown as plain rich text.")
endif()
if(CORVANE_APPS)
  corvane_package(corvane-inspector SECTION utils OVERRIDES helper SUGGESTS corvane-helpers corvane-inspector-window
    SUMMARY "processes, devices and settings in a terminal"
    TEXT "Corvane Inspector shows a machine at work in a terminal: processor, memory,"
      "disks, network and processes. It also looks into programs that use the"
      "Corvane framework while they run: their timers, queues and settings.")
  corvane_package(corvane-tools SECTION utils
    SUMMARY "reads and writes the settings of Corvane applications"
    TEXT "The command corvane-defaults lists, reads, writes and removes the settings"
      "that applications keep with the Corvane framework.")
  if(CORVANE_UI)
    corvane_package(corvane-inspector-window SECTION utils OVERRIDES helper metadata SUGGESTS corvane-doc corvane-helpers
      SUMMARY "processes, devices and settings in a window"
      TEXT "Corvane Inspector shows a machine at work in a window: graphs, processes and"
        "their tree, power, devices and disks. It also looks into programs that use"
        "the Corvane framework while they run: their timers, queues and a timeline.")
  endif()
endif()
if(TARGET reference)
  corvane_package(corvane-doc SECTION doc ARCHITECTURE all MULTI_ARCH foreign
    SUMMARY "utility framework for desktop applications - documentation"
    TEXT ${about} "This is its guide, and the reference of its headers.")
endif()

include(CPack)
