# Gives executables an information dictionary, which the library finds as their main bundle (corvane/infra/Bundle.h).
#
#   corvane_application(TARGET IDENTIFIER id NAME name VERSION version BUILD build [RESOURCES file…]
#     [RESOURCE_FOLDERS folder…] [REQUIRES {library purpose address}…] [DIAGNOSTICS [CONTROL] [SETTING_VALUES]]
#     [NO_INSTALL])
#
# Writes the dictionary and copies the resource files into the folder TARGET.resources beside the executable, whenever
# the target is built. Unless told not to, also installs the executable as bin/TARGET and dictionary and resources into
# share/TARGET, where they are found whatever the prefix.
#
# RESOURCE_FOLDERS names folders that go there with all that is in them, each under its own last name. Every build brings
# over what was changed, added or removed. What makes files in them is a dependency of the target TARGET_resources.
#
# REQUIRES names shared libraries that the system may lack, even those that the target is linked with: "libQt6Svg.so.6"
# "its pictures" "https://example.org/get". An executable of the target's name then checks them and starts the target, which
# is built into the folder libexec beside it and installed as libexec/TARGET. If one is missing it tells the user what for,
# and offers to get it at the address, which may be empty (corvane/system/RuntimeRequirement.h). It looks for them as the
# target does: also in the target's INSTALL_RPATH, or BUILD_RPATH where it is built. Needs Corvane::system.
#
# DIAGNOSTICS lets Corvane Inspector look into the running program, from when its main loop runs: the target calls
# Diagnostics::start() with these permissions (corvane/infra/Diagnostics.h). Needs Corvane::infra.
#
#   corvane_embed_info_plist(TARGET file)
#   corvane_embed_info_plist(TARGET IDENTIFIER id NAME name VERSION version BUILD build)
#
# Puts a dictionary, the given file or one made of these values, into the executable itself: for programs that are one
# file. It survives strip, section garbage collection and link-time optimisation. The file must exist when CMake runs.
#
# VERSION is the version for people (2.1), BUILD that of the build (345). Both functions are called in the folder of the
# target.

include_guard()
cmake_policy(VERSION 3.25)

# Escapes a text for a property list; the result goes to OUT.
function(_corvane_escape out text)
  string(REPLACE "&" "&amp;" text "${text}")
  string(REPLACE "<" "&lt;" text "${text}")
  string(REPLACE ">" "&gt;" text "${text}")
  set(${out} "${text}" PARENT_SCOPE)
endfunction()

# Writes the dictionary of a target, made of the caller's arguments; its path goes to OUT.
function(_corvane_write_info out target)
  foreach(key IN ITEMS IDENTIFIER NAME VERSION BUILD)
    if(NOT DEFINED arg_${key})
      message(FATAL_ERROR "The application ${target} needs ${key}")
    endif()
    _corvane_escape(info_${key} "${arg_${key}}")
  endforeach()
  set(info_EXECUTABLE $<TARGET_FILE_NAME:${target}>)
  file(READ ${CMAKE_CURRENT_FUNCTION_LIST_DIR}/Info.plist.in template)
  string(CONFIGURE "${template}" text @ONLY)
  set(path ${CMAKE_CURRENT_BINARY_DIR}/CMakeFiles/${target}.dir/info/$<CONFIG>/Info.plist)
  file(GENERATE OUTPUT ${path} CONTENT "${text}")
  set(${out} ${path} PARENT_SCOPE)
endfunction()

# Puts the launcher TARGET_launcher before a target; made of the caller's arguments.
function(_corvane_add_launcher target)
  list(LENGTH arg_REQUIRES count)
  math(EXPR rest "${count} % 3")
  if(NOT rest EQUAL 0)
    message(FATAL_ERROR "The application ${target}: REQUIRES takes a library, its purpose and an address")
  endif()
  math(EXPR last "${count} - 1")
  set(requirements)
  foreach(library RANGE 0 ${last} 3)
    set(fields)
    math(EXPR address "${library} + 2")
    foreach(position RANGE ${library} ${address})
      list(GET arg_REQUIRES ${position} value)  # unlike other operations it keeps semicolons in values
      string(APPEND fields "R\"corvane(${value})corvane\", ")
    endforeach()
    string(APPEND requirements "{${fields}}, ")
  endforeach()
  set(source ${CMAKE_CURRENT_BINARY_DIR}/CMakeFiles/${target}.dir/launcher.cpp)
  configure_file(${CMAKE_CURRENT_FUNCTION_LIST_DIR}/launcher.cpp.in ${source} @ONLY)
  get_target_property(folder ${target} RUNTIME_OUTPUT_DIRECTORY)
  get_target_property(name ${target} OUTPUT_NAME)
  if(NOT folder)
    set(folder ${CMAKE_CURRENT_BINARY_DIR})
  endif()
  if(NOT name)
    set(name ${target})
  endif()
  add_executable(${target}_launcher ${source})
  target_link_libraries(${target}_launcher PRIVATE Corvane::system)
  set_target_properties(${target}_launcher PROPERTIES OUTPUT_NAME ${name} RUNTIME_OUTPUT_DIRECTORY ${folder}
    BUILD_RPATH "$<TARGET_PROPERTY:${target},BUILD_RPATH>" INSTALL_RPATH "$<TARGET_PROPERTY:${target},INSTALL_RPATH>")
  set_target_properties(${target} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${folder}/libexec)
  add_dependencies(${target} ${target}_launcher)
endfunction()

# Has a target call Diagnostics::start() with the permissions that the arguments name.
function(_corvane_start_diagnostics target)
  set(permissions corvane::Diagnostics::LookOnly)
  foreach(permission IN LISTS ARGN)
    if(permission STREQUAL CONTROL)
      string(APPEND permissions " | corvane::Diagnostics::Control")
    elseif(permission STREQUAL SETTING_VALUES)
      string(APPEND permissions " | corvane::Diagnostics::SettingValues")
    else()
      message(FATAL_ERROR "The application ${target}: DIAGNOSTICS takes CONTROL and SETTING_VALUES, not ${permission}")
    endif()
  endforeach()
  set(source ${CMAKE_CURRENT_BINARY_DIR}/CMakeFiles/${target}.dir/diagnostics.cpp)
  configure_file(${CMAKE_CURRENT_FUNCTION_LIST_DIR}/diagnostics.cpp.in ${source} @ONLY)
  target_sources(${target} PRIVATE ${source})
endfunction()

function(corvane_application target)
  cmake_parse_arguments(PARSE_ARGV 1 arg "NO_INSTALL" "IDENTIFIER;NAME;VERSION;BUILD"
    "RESOURCES;RESOURCE_FOLDERS;REQUIRES;DIAGNOSTICS")
  if(DEFINED arg_DIAGNOSTICS OR DIAGNOSTICS IN_LIST arg_KEYWORDS_MISSING_VALUES)
    _corvane_start_diagnostics(${target} ${arg_DIAGNOSTICS})
  endif()
  if(arg_REQUIRES)
    _corvane_add_launcher(${target})
  endif()
  _corvane_write_info(info ${target})
  set(files ${info})
  foreach(file IN LISTS arg_RESOURCES)
    cmake_path(ABSOLUTE_PATH file)
    list(APPEND files ${file})
  endforeach()

  # A target of its own rather than a step after linking: a changed resource must not wait for the next link. The folder
  # is named in a script, because a command that named it would have to wait for the executable.
  set(work ${CMAKE_CURRENT_BINARY_DIR}/CMakeFiles/${target}.dir/info/$<CONFIG>)
  file(GENERATE OUTPUT ${work}/resources.cmake CONTENT
"set(folder [[$<TARGET_FILE_DIR:${target}>/$<TARGET_FILE_NAME:${target}>.resources]])
file(MAKE_DIRECTORY \${folder})
foreach(file IN ITEMS [[$<JOIN:${files},]] [[>]])
  cmake_path(GET file FILENAME name)
  file(COPY_FILE \${file} \${folder}/\${name})
endforeach()
file(TOUCH [[${work}/resources.stamp]])
")
  add_custom_command(OUTPUT ${work}/resources.stamp
    COMMAND ${CMAKE_COMMAND} -P ${work}/resources.cmake
    DEPENDS ${work}/resources.cmake ${files}
    COMMENT "Resources of ${target}"
    VERBATIM)
  set(folders)
  foreach(folder IN LISTS arg_RESOURCE_FOLDERS)
    cmake_path(ABSOLUTE_PATH folder NORMALIZE)
    string(REGEX REPLACE "/$" "" folder ${folder})
    list(APPEND folders ${folder})
  endforeach()
  set(mirror)
  if(folders)
    # At every build, because nobody knows the files when CMake runs.
    file(GENERATE OUTPUT ${work}/folders.cmake CONTENT
"set(BUNDLE [[$<TARGET_FILE_DIR:${target}>/$<TARGET_FILE_NAME:${target}>.resources]])
set(FOLDERS [[$<JOIN:${folders},]] [[>]])
include([[${CMAKE_CURRENT_FUNCTION_LIST_DIR}/MirrorFolders.cmake]])
")
    set(mirror COMMAND ${CMAKE_COMMAND} -P ${work}/folders.cmake COMMENT "Folders of ${target}" VERBATIM)
  endif()
  add_custom_target(${target}_resources ${mirror} DEPENDS ${work}/resources.stamp)
  add_dependencies(${target} ${target}_resources)

  if(NOT arg_NO_INSTALL)
    # Fixed names: the library looks for share beside the folder bin.
    if(TARGET ${target}_launcher)
      install(TARGETS ${target} RUNTIME DESTINATION libexec)
      install(TARGETS ${target}_launcher RUNTIME DESTINATION bin)
    else()
      install(TARGETS ${target} RUNTIME DESTINATION bin)
    endif()
    install(FILES ${files} DESTINATION share/$<TARGET_FILE_NAME:${target}>)
    install(DIRECTORY ${folders} DESTINATION share/$<TARGET_FILE_NAME:${target}>)
  endif()
endfunction()

function(corvane_embed_info_plist target)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "IDENTIFIER;NAME;VERSION;BUILD" "")
  if(arg_UNPARSED_ARGUMENTS)
    set(info ${arg_UNPARSED_ARGUMENTS})
    cmake_path(ABSOLUTE_PATH info)
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${info})
    file(SHA256 ${info} hash)
  else()
    _corvane_write_info(info ${target})
    string(SHA256 hash "${arg_IDENTIFIER}\n${arg_NAME}\n${arg_VERSION}\n${arg_BUILD}")
  endif()
  # The hash in the source makes it, and so the executable, as new as the dictionary.
  file(READ ${CMAKE_CURRENT_FUNCTION_LIST_DIR}/info_plist.c.in template)
  string(CONFIGURE "${template}" text @ONLY)
  get_property(languages GLOBAL PROPERTY ENABLED_LANGUAGES)
  if("C" IN_LIST languages)
    set(extension c)
  else()
    set(extension cpp)
  endif()
  set(source ${CMAKE_CURRENT_BINARY_DIR}/CMakeFiles/${target}.dir/info/$<CONFIG>/info_plist.${extension})
  file(GENERATE OUTPUT ${source} CONTENT "${text}")
  target_sources(${target} PRIVATE ${source})
endfunction()
