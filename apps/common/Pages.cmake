# The manual page of a program and its completion, for bash, zsh and fish.
#
#   corvane_pages(TARGET COMPONENT component)
#
# TARGET.1.in in the folder of the target is the page; @COMMANDS@ in it stands for the sections COMMANDS and OPTIONS,
# which the program itself writes (--manual). It also tells the shells what may be completed (--complete).

if(EXISTS /etc/debian_version)  # where packages put them; site-functions are the administrator's
  set(folder share/zsh/vendor-completions)
else()
  set(folder share/zsh/site-functions)
endif()
set(CORVANE_ZSH_COMPLETIONS ${folder} CACHE STRING "The folder of zsh's completions, below the prefix")

function(corvane_pages target)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "COMPONENT" "")
  set(folder ${CMAKE_CURRENT_BINARY_DIR}/pages)
  set(template ${CMAKE_CURRENT_SOURCE_DIR}/${target}.1.in)
  set(script ${CMAKE_CURRENT_FUNCTION_LIST_DIR}/WritePage.cmake)
  add_custom_command(OUTPUT ${folder}/${target}.1
    COMMAND ${CMAKE_COMMAND} -DPROGRAM=$<TARGET_FILE:${target}> -DVERSION=${PROJECT_VERSION} -DTEMPLATE=${template}
      -DPAGE=${folder}/${target}.1 -P ${script}
    DEPENDS ${target} ${template} ${script}
    COMMENT "Manual page of ${target}"
    VERBATIM)
  add_custom_target(${target}_page ALL DEPENDS ${folder}/${target}.1)
  install(FILES ${folder}/${target}.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT ${arg_COMPONENT})

  set(PROGRAM ${target})
  string(REPLACE - _ FUNCTION ${target})
  foreach(shell IN ITEMS bash zsh fish)
    configure_file(${CMAKE_CURRENT_FUNCTION_LIST_DIR}/shell/completion.${shell}.in ${folder}/${target}.${shell} @ONLY)
  endforeach()
  foreach(place IN ITEMS "bash share/bash-completion/completions ${target}" "zsh ${CORVANE_ZSH_COMPLETIONS} _${target}"
      "fish share/fish/vendor_completions.d ${target}.fish")
    separate_arguments(place UNIX_COMMAND "${place}")
    list(GET place 0 shell)
    list(GET place 1 destination)
    list(GET place 2 name)
    install(FILES ${folder}/${target}.${shell} DESTINATION ${destination} RENAME ${name} COMPONENT ${arg_COMPONENT})
  endforeach()
endfunction()
