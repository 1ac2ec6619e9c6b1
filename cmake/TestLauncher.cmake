# Test programs under LINNET_TEST_LAUNCHER (set in the top-level CMakeLists.txt).
#
# Every program a test runs that is built here (test binaries, and linnet as
# the command-line tests start it) runs under the launcher, so that a tool
# such as valgrind watches all of them:
#   - a test target (gtest_discover_tests, or add_test with the target as the
#     command): call linnet_test_launcher(TARGET...) after add_executable;
#     the launcher then runs the program, listing its tests included;
#   - a test program started through scripts/testbed or another script: put
#     ${LINNET_TEST_LAUNCHER} before $<TARGET_FILE:...> in the command line;
#   - a script that starts linnet itself: it reads the launcher's words from
#     the environment variable LINNET_TEST_LAUNCHER, which
#     linnet_test_launcher_environment(VAR) puts, as VAR=words, in VAR for the
#     test's ENVIRONMENT property.
# Scratch files of the test programs and of the launcher go to TMPDIR; the
# test presets point it at tmp/ in the build tree, made here.

function(linnet_test_launcher)
  if(LINNET_TEST_LAUNCHER)
    set_target_properties(${ARGN} PROPERTIES CROSSCOMPILING_EMULATOR "${LINNET_TEST_LAUNCHER}")
  endif()
endfunction()

function(linnet_test_launcher_environment variable)
  list(JOIN LINNET_TEST_LAUNCHER " " words)
  set(${variable} "LINNET_TEST_LAUNCHER=${words}" PARENT_SCOPE)
endfunction()

# linnet_testbed_script(NAME SCRIPT [ARGS...]): NAME.redhat and NAME.suse run
# `SCRIPT LINNET FAMILY ARGS...` inside the simulated host of that family
# (skipped when not root), with the launcher's words in its environment.
function(linnet_testbed_script name script)
  linnet_test_launcher_environment(launcher)
  foreach(family redhat suse)
    add_test(NAME ${name}.${family}
      COMMAND ${PROJECT_SOURCE_DIR}/scripts/testbed --family ${family} --tools $<TARGET_FILE_DIR:testbed_logsink>
              -- ${script} $<TARGET_FILE:linnet> ${family} ${ARGN})
    set_tests_properties(${name}.${family} PROPERTIES SKIP_RETURN_CODE 77 TIMEOUT 300
      ENVIRONMENT "LINNET_TESTBED_STATE=${CMAKE_CURRENT_BINARY_DIR}/state;${launcher}")
  endforeach()
endfunction()

file(MAKE_DIRECTORY "${PROJECT_BINARY_DIR}/tmp")
