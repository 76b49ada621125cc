# SPDX-License-Identifier: MIT
# tarni_warnings: link it to get the project's warnings, as errors where
# TARNI_WERROR says so.
add_library(tarni_warnings INTERFACE)
set(_tarni_warnings -Wall -Wextra -Wpedantic -Wshadow -Wconversion)
target_compile_options(
  tarni_warnings
  INTERFACE ${_tarni_warnings}
            $<$<COMPILE_LANGUAGE:CXX>:-Wold-style-cast;-Wnon-virtual-dtor>
            # Notes on what g++ 7.1 changed in its calls on 32-bit ARM.
            $<$<COMPILE_LANGUAGE:CXX>:-Wno-psabi>
            $<$<BOOL:${TARNI_WERROR}>:-Werror>)
