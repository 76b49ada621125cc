# SPDX-License-Identifier: MIT
# tarni_warnings: link it to get the project's warnings, as errors where
# TARNI_WERROR says so.
add_library(tarni_warnings INTERFACE)
set(_tarni_warnings -Wall -Wextra -Wpedantic -Wshadow -Wconversion)
target_compile_options(
  tarni_warnings
  INTERFACE ${_tarni_warnings}
            $<$<COMPILE_LANGUAGE:CXX>:-Wold-style-cast;-Wnon-virtual-dtor>
            $<$<BOOL:${TARNI_WERROR}>:-Werror>)
