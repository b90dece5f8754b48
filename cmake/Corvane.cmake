# What every target of this tree shares.

# corvane_warnings(TARGET): the project's warnings.
function(corvane_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Wconversion
    $<$<BOOL:${CORVANE_WERROR}>:-Werror>
    # g++ 12 to 14 take their own std::string for overlapping or too little memory when they optimise.
    "$<$<COMPILE_LANG_AND_ID:CXX,GNU>:-Wno-restrict;-Wno-stringop-overflow;-Wno-array-bounds>"
    $<$<COMPILE_LANG_AND_ID:CXX,Clang>:-Wthread-safety>)
endfunction()

# What most sources include. The test of the installed package compiles each public header without it; a build with
# CMAKE_DISABLE_PRECOMPILE_HEADERS finds what is missing elsewhere.
set(CORVANE_PRECOMPILED <algorithm> <atomic> <functional> <map> <memory> <mutex> <optional> <string> <string_view> <vector>
  <tl/expected.hpp>)
set(CORVANE_PRECOMPILED_QT <QAction> <QApplication> <QHeaderView> <QLocale> <QTableView> <QVBoxLayout>)

# corvane_rpath(TARGET FROM): the installed target, which lies in the folder FROM, finds the libraries whatever the prefix.
function(corvane_rpath target from)
  file(RELATIVE_PATH libraries ${from} ${CMAKE_INSTALL_FULL_LIBDIR})
  string(REGEX REPLACE "/$" "" path "$ORIGIN/${libraries}")
  set_target_properties(${target} PROPERTIES INSTALL_RPATH ${path})
endfunction()

# The version of the binary interface: before 1.0 a minor version may break it.
set(CORVANE_SOVERSION ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})

# corvane_library(NAME SOURCES... ): the library libcorvane-NAME, as Corvane::NAME.
function(corvane_library name)
  add_library(corvane-${name} ${ARGN})
  add_library(Corvane::${name} ALIAS corvane-${name})
  set_target_properties(corvane-${name} PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION ${CORVANE_SOVERSION}
    EXPORT_NAME ${name})
  target_include_directories(corvane-${name} PUBLIC $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>)
  target_compile_features(corvane-${name} PUBLIC cxx_std_20)
  target_precompile_headers(corvane-${name} PRIVATE ${CORVANE_PRECOMPILED})
  corvane_rpath(corvane-${name} ${CMAKE_INSTALL_FULL_LIBDIR})
  if(NOT CMAKE_CXX_FLAGS MATCHES -fsanitize)  # clang's sanitizers are in the program
    target_link_options(corvane-${name} PRIVATE LINKER:--no-undefined)
  endif()
  corvane_warnings(corvane-${name})
endfunction()

# corvane_headers(NAME file... ): the public headers of libcorvane-NAME, relative to corvane/. These are installed and stand
# in the reference; all others are internal.
function(corvane_headers name)
  list(TRANSFORM ARGN PREPEND ${PROJECT_SOURCE_DIR}/corvane/)
  target_sources(corvane-${name} PUBLIC FILE_SET HEADERS BASE_DIRS ${PROJECT_SOURCE_DIR} FILES ${ARGN})
endfunction()
