# SPDX-License-Identifier: MIT
# tarni_sim_test(<target>) registers each case of a GoogleTest executable with
# CTest, to run in a simulated machine: with the netlink stand-in and umockdev's
# preload object, in this order, as the latter goes past all others. By hand, in the
# build directory:
#
#   LD_PRELOAD=./libtarni-netlink.so:libumockdev-preload.so.0 tests/unit_test
include(GoogleTest)

set(_sim_test_properties
    TIMEOUT 300
    ENVIRONMENT LD_PRELOAD=${PROJECT_BINARY_DIR}/libtarni-netlink.so:libumockdev-preload.so.0)
# A second variable has a property of its own: lists do not survive in the first.
if(TARNI_SANITIZE MATCHES address)
  # The leak check cannot tell umockdev's leaks from ours.
  list(APPEND _sim_test_properties
       ENVIRONMENT_MODIFICATION ASAN_OPTIONS=set:verify_asan_link_order=0:detect_leaks=0)
elseif(TARNI_SANITIZE MATCHES thread)
  list(APPEND _sim_test_properties
       ENVIRONMENT_MODIFICATION
       TSAN_OPTIONS=set:suppressions=${PROJECT_SOURCE_DIR}/tests/tsan.supp:atexit_sleep_ms=50)
endif()
if(TARNI_SANITIZE MATCHES undefined)
  # This sanitizer only prints.
  list(APPEND _sim_test_properties FAIL_REGULAR_EXPRESSION "runtime error: ")
endif()

function(tarni_sim_test target)
  add_dependencies(${target} tarni-netlink)
  # Listed when the tests run, so that a build needs no simulated machine.
  gtest_discover_tests(${target} DISCOVERY_MODE PRE_TEST PROPERTIES ${_sim_test_properties})
endfunction()
