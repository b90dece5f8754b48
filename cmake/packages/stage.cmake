# Run by CPack between installing the components and making packages of them: what Debian's policy wants of files.
cmake_policy(VERSION 3.25)

function(run)
  execute_process(COMMAND ${ARGN} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

# Programs and libraries, whose list goes to OUT: the system finds the libraries in /usr, and nobody debugs a package
# without its sources.
function(strip_binaries out folder)
  set(binaries)
  file(GLOB_RECURSE files ${folder}/*)
  foreach(file IN LISTS files)
    if(IS_SYMLINK ${file})
      continue()
    endif()
    file(READ ${file} magic LIMIT 4 HEX)
    if(magic STREQUAL 7f454c46)
      run(chrpath --delete ${file} OUTPUT_QUIET)
      run(strip --strip-unneeded --remove-section=.comment --remove-section=.note ${file})
      list(APPEND binaries ${file})
    endif()
  endforeach()
  set(${out} "${binaries}" PARENT_SCOPE)
endfunction()

function(compress_manuals folder)
  file(GLOB_RECURSE pages ${folder}/usr/share/man/*.[1-8])
  if(pages)
    run(gzip -9n ${pages})
  endif()
endfunction()

# The copyright in Debian's format, and the changelogs; the day is that of the last change.
function(write_documents folder package)
  set(documents ${folder}/usr/share/doc/${package})
  file(READ ${CPACK_CORVANE_SOURCE}/LICENSE license)
  string(REGEX MATCH "Copyright \\(c\\) ([^\n]*)\n\n(.*[^\n])\n*$" matched "${license}")
  set(holder "${CMAKE_MATCH_1}")
  string(REGEX REPLACE "\n\n" "\n.\n" text "${CMAKE_MATCH_2}")
  string(REPLACE "\n" "\n " text "${text}")
  string(JOIN . host www debian org)
  file(WRITE ${documents}/copyright
"Format: https://${host}/doc/packaging-manuals/copyright-format/1.0/
Upstream-Name: Corvane

Files: *
Copyright: ${holder}
License: Expat
 ${text}
")
  set(changes ${CPACK_CORVANE_SOURCE}/CHANGELOG.md)
  file(TIMESTAMP ${changes} day "%a, %d %b %Y %H:%M:%S +0000" UTC)
  file(WRITE ${documents}/changelog.Debian
"corvane (${CPACK_PACKAGE_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE}) unstable; urgency=medium

  * Version ${CPACK_PACKAGE_VERSION}: see changelog.gz.

 -- ${CPACK_PACKAGE_CONTACT}  ${day}
")
  file(COPY_FILE ${changes} ${documents}/changelog)
  run(gzip -9n ${documents}/changelog ${documents}/changelog.Debian)
endfunction()

# What lintian finds and is right all the same.
function(add_overrides folder package)
  foreach(name IN LISTS CPACK_CORVANE_OVERRIDES_${package})
    file(READ ${CPACK_CORVANE_SOURCE}/cmake/packages/overrides/${name} text)
    file(APPEND ${folder}/usr/share/lintian/overrides/${package} "${text}")
  endforeach()
endfunction()

# For dpkg-shlibdeps: which package has which of our libraries. Its own are not for it to depend on.
function(name_libraries stage package)
  set(version ${CPACK_PACKAGE_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})
  set(lines)
  file(GLOB libraries ${stage}/*/usr/lib/*/*.so.${CPACK_CORVANE_SOVERSION})
  foreach(library IN LISTS libraries)
    cmake_path(RELATIVE_PATH library BASE_DIRECTORY ${stage} OUTPUT_VARIABLE path)
    string(REGEX MATCH "^[^/]*" owner ${path})
    string(REGEX MATCH "lib[^/]*\\.so" name ${path})
    string(REPLACE ".so" "" name ${name})
    if(NOT owner STREQUAL package)
      string(APPEND lines "${name} ${CPACK_CORVANE_SOVERSION} ${owner} (= ${version})\n")
    endif()
  endforeach()
  file(WRITE ${stage}/${package}/debian/shlibs.local "${lines}")
endfunction()

foreach(package IN LISTS CPACK_COMPONENTS_ALL)
  set(folder ${CPACK_TEMPORARY_DIRECTORY}/${package})
  strip_binaries(binaries ${folder})
  compress_manuals(${folder})
  write_documents(${folder} ${package})
  add_overrides(${folder} ${package})
  if(binaries)
    name_libraries(${CPACK_TEMPORARY_DIRECTORY} ${package})
  endif()
endforeach()
