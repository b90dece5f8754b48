# Makes help pages of Markdown files, for the help viewer (corvane/ui/HelpViewer.h).
#
#   corvane_documentation(NAME FOLDER folder TITLE title SOURCES file…)
#
# The target NAME writes a page PAGE.html into the folder for each file PAGE.md, with tables, fenced code and headings that
# can be linked to as on GitHub (page.md#some-words), and copies all other files, such as pictures. Links between the
# files, whatever folders they are in, lead from page to page, and those to what lies outside (../other.md) become text.
# Unless there is an index.md, index.html lists all pages under the TITLE, in the order of the files. The pages are light
# or dark as the desktop is. The folder belongs to the target: other files in it are lost.
#
#   corvane_documentation(guide FOLDER ${CMAKE_CURRENT_BINARY_DIR}/Documentation TITLE "The guide" SOURCES ${files})
#   corvane_application(… RESOURCE_FOLDERS ${CMAKE_CURRENT_BINARY_DIR}/Documentation)
#   add_dependencies(app_resources guide)
#
# Needs cmark-gfm; without it the folder is empty.

include_guard()
cmake_policy(VERSION 3.25)

function(corvane_documentation name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "FOLDER;TITLE" "SOURCES")
  set(files)
  foreach(file IN LISTS arg_SOURCES)
    cmake_path(ABSOLUTE_PATH file)
    list(APPEND files ${file})
  endforeach()
  find_program(CMARK_GFM_EXECUTABLE cmark-gfm)
  if(NOT CMARK_GFM_EXECUTABLE)
    message(STATUS "Without the help pages of ${name}: cmark-gfm is not installed")
    set(files)
  endif()
  # A script with the names in it: a command line would have to quote them.
  set(work ${CMAKE_CURRENT_BINARY_DIR}/CMakeFiles/${name}.dir)
  list(JOIN files "]] [[" quoted)
  file(CONFIGURE OUTPUT ${work}/pages.cmake @ONLY CONTENT
"set(CMARK [[@CMARK_GFM_EXECUTABLE@]])
set(FOLDER [[@arg_FOLDER@]])
set(TITLE [[@arg_TITLE@]])
set(FILES [[@quoted@]])
set(WORK [[@work@]])
include([[@CMAKE_CURRENT_FUNCTION_LIST_DIR@/documentation/pages.cmake]])
")
  file(GLOB parts ${CMAKE_CURRENT_FUNCTION_LIST_DIR}/documentation/*)
  add_custom_command(OUTPUT ${work}/pages.stamp
    COMMAND ${CMAKE_COMMAND} -P ${work}/pages.cmake
    DEPENDS ${work}/pages.cmake ${files} ${parts}
    COMMENT "Help pages of ${name}"
    VERBATIM)
  add_custom_target(${name} DEPENDS ${work}/pages.stamp)
endfunction()
