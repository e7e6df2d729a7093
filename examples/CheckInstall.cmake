# Installs the build into a scratch prefix as a user would and checks the
# layout: the launcher and its inventory library alone and side by side in bin/,
# and the heartbeat component as an instance directory of its own, which the
# installed launcher runs with the Java home its own inventory library finds.
# Arguments: -DBUILD_DIR=<build tree> -DPREFIX=<scratch directory>.
file(REMOVE_RECURSE ${PREFIX})

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE out ERROR_VARIABLE out)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "${ARGN} failed (${result}):\n${out}")
  endif()
  set(output "${out}" PARENT_SCOPE)
endfunction()

run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${PREFIX}/launcher)
run(${CMAKE_COMMAND} --install ${BUILD_DIR} --component heartbeat --prefix ${PREFIX}/heartbeat)

file(GLOB_RECURSE installed RELATIVE ${PREFIX} LIST_DIRECTORIES true ${PREFIX}/*)
list(SORT installed)
set(expected
  heartbeat heartbeat/launcher.yml heartbeat/lib heartbeat/lib/heartbeat.jar heartbeat/logs
  launcher launcher/bin launcher/bin/launcher launcher/bin/libinventory.so)
if(NOT installed STREQUAL expected)
  message(FATAL_ERROR "Installed:\n  ${installed}\nexpected:\n  ${expected}")
endif()

run(${PREFIX}/launcher/bin/launcher --version)
if(NOT output STREQUAL "Version 3.10.5+8\n")
  message(FATAL_ERROR "The installed launcher answers --version with '${output}'")
endif()

# The ASAN_OPTIONS matter only for a sanitized build: HotSpot handles SIGSEGV
# itself, and its threads are still alive when the leak check would run.
run(${CMAKE_COMMAND} -E env --unset=JAVA_HOME --unset=JVM_OPTS LC_ALL=C
    ASAN_OPTIONS=detect_leaks=0:handle_segv=0
    ${PREFIX}/launcher/bin/launcher start --instance ${PREFIX}/heartbeat
    --jifacearg interval-ms=50 --jifacearg beats=2)
if(NOT output MATCHES "Heartbeat example started .*Heartbeat stopped cleanly after 2 beats \\(beat limit reached\\)")
  message(FATAL_ERROR "The installed example said:\n${output}")
endif()
if(NOT EXISTS ${PREFIX}/heartbeat/logs/launcher.log OR NOT EXISTS ${PREFIX}/heartbeat/logs/heartbeat.log)
  message(FATAL_ERROR "The installed example wrote no logs into its instance")
endif()
