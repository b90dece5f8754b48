# Compiles an application's catalogues of translated texts, which corvane::Translator finds (corvane/ui/Translator.h).
#
#   corvane_catalogues(TARGET DOMAIN name CATALOGUES po/de.po… [SOURCES file…] [TEMPLATES file.in…] [NO_INSTALL])
#
# DOMAIN is the name that the application gives to the Translator, and each catalogue is named after its language. They
# are compiled into share/locale/LANGUAGE/LC_MESSAGES/name.mo in the project's build folder when the target is built, and
# installed in the prefix's share/locale, unless told not to.
#
# CTest's Catalogues.name_LANGUAGE fails if a catalogue lacks a text: one that another catalogue has, or one in the
# sources, which are C++ files and interface files (.ui), by default the target's own. Found are the texts of tr(),
# translate(), QT_TR_NOOP and QT_TRANSLATE_NOOP; write "" for a comment between a text and its number. Those of the sources
# are in CMakeFiles/name.pot in the build folder, as msginit needs them for a new catalogue and msgmerge for an old one.
#
# TEMPLATES are desktop entries, AppStream data and polkit actions in English: NAME.desktop.in, NAME.metainfo.xml.in,
# NAME.policy.in. Their texts belong to the catalogue, and with all translations they are written to the folder's build
# folder, without .in, for the caller to install.
#
# Needs GNU gettext. Call it in the folder of the target.

include_guard()
cmake_policy(VERSION 3.25)

function(corvane_catalogues target)
  cmake_parse_arguments(PARSE_ARGV 1 arg "NO_INSTALL" "DOMAIN" "CATALOGUES;SOURCES;TEMPLATES")
  foreach(tool IN ITEMS xgettext msgcat msgcmp msgfmt)
    string(TOUPPER GETTEXT_${tool}_EXECUTABLE program)
    find_program(${program} ${tool} REQUIRED)
  endforeach()
  if(NOT arg_SOURCES)
    get_target_property(arg_SOURCES ${target} SOURCES)
  endif()
  foreach(list IN ITEMS arg_SOURCES arg_CATALOGUES arg_TEMPLATES)
    set(files ${${list}})
    set(${list})
    foreach(file IN LISTS files)
      cmake_path(ABSOLUTE_PATH file)
      list(APPEND ${list} ${file})
    endforeach()
  endforeach()
  set(interfaces ${arg_SOURCES})
  list(FILTER interfaces INCLUDE REGEX "\\.ui$")
  list(FILTER arg_SOURCES INCLUDE REGEX "\\.(cpp|cc|cxx|h|hpp)$")

  set(template ${CMAKE_CURRENT_BINARY_DIR}/CMakeFiles/${arg_DOMAIN}.pot)
  set(all ${CMAKE_CURRENT_BINARY_DIR}/CMakeFiles/${arg_DOMAIN}.all.po)
  set(rules ${CMAKE_CURRENT_FUNCTION_LIST_DIR}/interface-files.its)
  set(extract ${GETTEXT_XGETTEXT_EXECUTABLE} --from-code=UTF-8 --force-po --join-existing --output=${template})
  set(steps)
  if(arg_SOURCES)
    set(steps COMMAND ${extract} --c++ --keyword --keyword=tr:1,1t --keyword=tr:1,2c,2t --keyword=tr:1,1,2c,3t
      --keyword=translate:2,2t --keyword=translate:2,3c,3t --keyword=translate:2,2,3c,4t
      --keyword=QT_TR_NOOP:1 --keyword=QT_TRANSLATE_NOOP:2 ${arg_SOURCES})
  endif()
  if(interfaces)
    list(APPEND steps COMMAND ${extract} --its=${rules} ${interfaces})
  endif()
  set(gettext ${CMAKE_COMMAND} -E env GETTEXTDATADIRS=${CMAKE_CURRENT_FUNCTION_LIST_DIR})
  foreach(file IN LISTS arg_TEMPLATES)
    list(APPEND steps COMMAND ${gettext} ${extract} ${file})
  endforeach()
  add_custom_command(OUTPUT ${template} ${all}
    COMMAND ${CMAKE_COMMAND} -E rm -f ${template}
    COMMAND ${CMAKE_COMMAND} -E touch ${template}
    ${steps}
    COMMAND ${GETTEXT_MSGCAT_EXECUTABLE} --use-first --output-file=${all} ${template} ${arg_CATALOGUES}
    DEPENDS ${arg_SOURCES} ${interfaces} ${rules} ${arg_CATALOGUES} ${arg_TEMPLATES}
    COMMENT "Texts of ${arg_DOMAIN}" VERBATIM)
  foreach(source IN LISTS arg_CATALOGUES)
    cmake_path(GET source STEM language)
    set(folder share/locale/${language}/LC_MESSAGES)
    set(catalogue ${PROJECT_BINARY_DIR}/${folder}/${arg_DOMAIN}.mo)
    add_custom_command(OUTPUT ${catalogue}
      COMMAND ${CMAKE_COMMAND} -E make_directory ${PROJECT_BINARY_DIR}/${folder}
      COMMAND ${GETTEXT_MSGFMT_EXECUTABLE} --check --output-file=${catalogue} ${source}
      DEPENDS ${source} VERBATIM)
    if(NOT arg_NO_INSTALL)
      install(FILES ${catalogue} DESTINATION ${folder})
    endif()
    list(APPEND catalogues ${catalogue})
    add_test(NAME Catalogues.${arg_DOMAIN}_${language} COMMAND ${GETTEXT_MSGCMP_EXECUTABLE} ${source} ${all})
  endforeach()
  foreach(file IN LISTS arg_TEMPLATES)
    cmake_path(GET file FILENAME name)
    string(REGEX REPLACE "\\.in$" "" name ${name})
    set(kind --xml)
    if(name MATCHES "\\.desktop$")
      set(kind --desktop)
    endif()
    # One language at a time: each takes what the one before wrote.
    set(written ${CMAKE_CURRENT_BINARY_DIR}/${name})
    set(part ${CMAKE_CURRENT_BINARY_DIR}/CMakeFiles/${name}.in)
    set(steps COMMAND ${CMAKE_COMMAND} -E copy ${file} ${part})
    foreach(source IN LISTS arg_CATALOGUES)
      cmake_path(GET source STEM language)
      list(APPEND steps COMMAND ${gettext} ${GETTEXT_MSGFMT_EXECUTABLE} ${kind} --template=${part}
        --locale=${language} --output-file=${written} ${source}
        COMMAND ${CMAKE_COMMAND} -E copy ${written} ${part})
    endforeach()
    add_custom_command(OUTPUT ${written} ${steps} DEPENDS ${file} ${arg_CATALOGUES}
      COMMENT "Translations of ${name}" VERBATIM)
    list(APPEND catalogues ${written})
  endforeach()
  add_custom_target(${arg_DOMAIN}-catalogues DEPENDS ${template} ${catalogues})
  add_dependencies(${target} ${arg_DOMAIN}-catalogues)
endfunction()
