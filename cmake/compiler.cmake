# SPDX-License-Identifier: MIT
# The first versions with all of C++17, file systems in the standard library too.
foreach(known GNU:g++ Clang:clang)
  string(REPLACE ":" ";" known ${known})
  list(GET known 0 id)
  list(GET known 1 package)
  if(CMAKE_CXX_COMPILER_ID STREQUAL id AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 9)
    message(FATAL_ERROR "${CMAKE_CXX_COMPILER} ${CMAKE_CXX_COMPILER_VERSION} is too old: install "
                        "the package ${package}, version 9 or later.")
  endif()
endforeach()
