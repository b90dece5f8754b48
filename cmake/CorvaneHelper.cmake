# Makes an executable a privileged helper (corvane/system/helper/HelperServer.h).
#
#   corvane_helper(TARGET LABEL label VERSION number
#     [ACTION right description]… [CALLERS path…] [APPLICATIONS target… [NO_INSTALL]])
#
# Puts into the executable the information dictionary with its label, which is also its bus name and becomes its file
# name, and its version, a whole number; the rights that it declares, each the label or the label, a dot and more, with
# a description for people; and the programs that may call it, if not every one may: absolute paths without symbolic
# links.
#
# Whenever the target is built, its dictionary is checked exactly as the service that installs helpers does it, and what
# that service would tell the system is written for makers of packages into the folder LABEL.files of the build folder:
# LABEL.service for the bus, LABEL.conf, its policy, and LABEL.policy, the rights for polkit.
#
# Each application gets a copy of the helper where the library looks for it: in the folder Contents/Library/LaunchServices
# of a wrapper (X/Contents/MacOS/TARGET), otherwise in the folder LaunchServices of its resources (TARGET.resources).
# For applications that are not wrappers it is also installed, as share/APPLICATION/LaunchServices/LABEL. A helper runs
# as root with the libraries that it was linked with: install from an installed tree, where they are root's.

include_guard()
cmake_policy(VERSION 3.25)
include(${CMAKE_CURRENT_LIST_DIR}/CorvaneApplication.cmake)

function(corvane_helper target)
  cmake_parse_arguments(PARSE_ARGV 1 arg "NO_INSTALL" "LABEL;VERSION" "ACTION;CALLERS;APPLICATIONS")
  foreach(key IN ITEMS LABEL VERSION)
    if(NOT DEFINED arg_${key})
      message(FATAL_ERROR "The helper ${target} needs ${key}")
    endif()
    _corvane_escape(info_${key} "${arg_${key}}")
  endforeach()
  if(arg_UNPARSED_ARGUMENTS)
    message(FATAL_ERROR "The helper ${target} does not understand ${arg_UNPARSED_ARGUMENTS}")
  endif()

  set(info_ACTIONS)
  if(arg_ACTION)
    set(entries)
    unset(right)
    foreach(word IN LISTS arg_ACTION)
      _corvane_escape(word "${word}")
      if(DEFINED right)
        string(APPEND entries "\n\t\t<key>${right}</key>\n\t\t<string>${word}</string>")
        unset(right)
      else()
        set(right "${word}")
      endif()
    endforeach()
    if(DEFINED right)
      message(FATAL_ERROR "The helper ${target} does not describe its right ${right}")
    endif()
    set(info_ACTIONS "\n\t<key>CorvaneHelperActions</key>\n\t<dict>${entries}\n\t</dict>")
  endif()
  set(info_CALLERS)
  if("CALLERS" IN_LIST arg_KEYWORDS_MISSING_VALUES)
    message(FATAL_ERROR "The helper ${target} names no callers")
  elseif(arg_CALLERS)
    set(entries)
    foreach(path IN LISTS arg_CALLERS)
      _corvane_escape(path "${path}")
      string(APPEND entries "\n\t\t<string>${path}</string>")
    endforeach()
    set(info_CALLERS "\n\t<key>CorvaneHelperCallers</key>\n\t<array>${entries}\n\t</array>")
  endif()
  set(info ${CMAKE_CURRENT_BINARY_DIR}/CMakeFiles/${target}.dir/helper/Info.plist)
  configure_file(${CMAKE_CURRENT_FUNCTION_LIST_DIR}/HelperInfo.plist.in ${info} @ONLY)
  corvane_embed_info_plist(${target} ${info})

  # The installed copy is copied once more, so it must find the libraries by absolute paths.
  set_target_properties(${target} PROPERTIES OUTPUT_NAME ${arg_LABEL} INSTALL_RPATH_USE_LINK_PATH ON)
  add_custom_command(TARGET ${target} POST_BUILD
    COMMAND Corvane::helper-files $<TARGET_FILE:${target}> ${arg_LABEL} ${CMAKE_CURRENT_BINARY_DIR}/${arg_LABEL}.files
    VERBATIM)
  foreach(application IN LISTS arg_APPLICATIONS)
    set(folder $<TARGET_FILE_DIR:${application}>)
    set(services $<IF:$<STREQUAL:$<PATH:GET_FILENAME,${folder}>,MacOS>,${folder}/../Library,${folder}/$<TARGET_FILE_NAME:${application}>.resources>/LaunchServices)
    add_custom_target(${application}_${target} ALL
      COMMAND ${CMAKE_COMMAND} -E make_directory ${services}
      COMMAND ${CMAKE_COMMAND} -E copy_if_different $<TARGET_FILE:${target}> ${services}/${arg_LABEL}
      VERBATIM)
    if(NOT arg_NO_INSTALL)
      # With the application, which may be of another folder and so of another component.
      get_target_property(origin ${application} SOURCE_DIR)
      get_directory_property(component DIRECTORY ${origin} DEFINITION CMAKE_INSTALL_DEFAULT_COMPONENT_NAME)
      if(component)
        list(PREPEND component COMPONENT)
      endif()
      install(TARGETS ${target} RUNTIME DESTINATION share/$<TARGET_FILE_NAME:${application}>/LaunchServices ${component})
    endif()
  endforeach()
endfunction()
