# SPDX-License-Identifier: MIT
# Run by cpack on the staged components, before it makes packages of them: adds
# what Debian expects of each package, its manual pages compressed.
set(source ${CMAKE_CURRENT_LIST_DIR}/..)

function(compress file)
  execute_process(COMMAND gzip -9nf ${file} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

foreach(component IN LISTS CPACK_COMPONENTS_ALL)
  string(TOUPPER ${component} name)
  set(share ${CPACK_TEMPORARY_DIRECTORY}/${component}/usr/share)
  set(documents ${share}/doc/${CPACK_DEBIAN_${name}_PACKAGE_NAME})

  file(MAKE_DIRECTORY ${documents})
  configure_file(${source}/packaging/copyright ${documents}/copyright COPYONLY)
  configure_file(${source}/CHANGELOG.md ${documents}/changelog COPYONLY)
  configure_file(${source}/packaging/changelog.Debian ${documents}/changelog.Debian COPYONLY)
  compress(${documents}/changelog)
  compress(${documents}/changelog.Debian)

  file(GLOB pages ${share}/man/man*/*.[1-8])
  foreach(page IN LISTS pages)
    compress(${page})
  endforeach()
endforeach()
