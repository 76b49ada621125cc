# SPDX-License-Identifier: MIT
# tarni_sim_test(<target>) registers each case of a GoogleTest executable with
# CTest, to run in a simulated machine: with the netlink stand-in and umockdev's
# preload object, in this order, as the latter goes past all others. By hand:
#
#   LD_PRELOAD=./libtarni-netlink.so:libumockdev-preload.so.0 ./unit_test
include(GoogleTest)

set(_sim_test_environment
    LD_PRELOAD=${PROJECT_BINARY_DIR}/libtarni-netlink.so:libumockdev-preload.so.0)
if(TARNI_SANITIZE MATCHES address)
  # The leak check cannot tell umockdev's leaks from ours.
  list(APPEND _sim_test_environment ASAN_OPTIONS=verify_asan_link_order=0:detect_leaks=0
       UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1)
elseif(TARNI_SANITIZE MATCHES thread)
  list(APPEND _sim_test_environment
       TSAN_OPTIONS=suppressions=${PROJECT_SOURCE_DIR}/tests/tsan.supp:halt_on_error=0:exitcode=66)
endif()
# A list inside a list of properties.
string(REPLACE ";" "\\;" _sim_test_environment "${_sim_test_environment}")

function(tarni_sim_test target)
  add_dependencies(${target} tarni-netlink)
  # Listing the cases needs no simulated machine, but a build need not wait for it.
  gtest_discover_tests(${target}
    DISCOVERY_MODE PRE_TEST
    PROPERTIES
      TIMEOUT 300
      ENVIRONMENT "${_sim_test_environment}")
endfunction()
