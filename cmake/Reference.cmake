# The target `reference`: the guide and the reference of the public headers as one site, in PROJECT_BINARY_DIR/docs/html.
# It is not a part of `all`, and not there without doxygen and Python. What has been built is installed.

find_program(DOXYGEN_EXECUTABLE doxygen)
find_program(PYTHON3_EXECUTABLE python3)
if(NOT DOXYGEN_EXECUTABLE OR NOT PYTHON3_EXECUTABLE)
  return()
endif()

file(GLOB guide CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/docs/*.*)
corvane_documentation(guide FOLDER ${PROJECT_BINARY_DIR}/docs/guide TITLE "Corvane"
  SOURCES ${guide} ${PROJECT_SOURCE_DIR}/bench/results.md ${PROJECT_SOURCE_DIR}/CHANGELOG.md
    ${PROJECT_SOURCE_DIR}/SECURITY.md)

set(publicHeaders)
foreach(library core infra algorithms system ui testing)
  if(TARGET corvane-${library})
    get_target_property(headers corvane-${library} HEADER_SET)
    list(APPEND publicHeaders ${headers})
  endif()
endforeach()
list(TRANSFORM publicHeaders REPLACE "^${PROJECT_SOURCE_DIR}/" "")
set(site ${CMAKE_CURRENT_LIST_DIR}/reference)
add_custom_target(reference
  COMMAND ${PYTHON3_EXECUTABLE} -X utf8 ${site}/site.py --version ${PROJECT_VERSION} --source ${PROJECT_SOURCE_DIR}
    --guide ${PROJECT_BINARY_DIR}/docs/guide --out ${PROJECT_BINARY_DIR}/docs/html ${publicHeaders}
  COMMAND ${PYTHON3_EXECUTABLE} -X utf8 ${PROJECT_SOURCE_DIR}/tests/checks/links.py ${PROJECT_BINARY_DIR}/docs/html
  DEPENDS guide
  COMMENT "Guide and reference"
  VERBATIM)
install(DIRECTORY ${PROJECT_BINARY_DIR}/docs/html DESTINATION share/doc/corvane COMPONENT corvane-doc OPTIONAL)
