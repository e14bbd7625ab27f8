# orla_program_test(<name> <script> CLIENT <program> [CASES <class>...])
# One test for each class of test cases in a Python script (programs.py says what a script is given).
# The client runs under Wine when cross-built; the development server is a native one in any case.
include_guard()
find_program(ORLA_PYTHON NAMES python3 PATHS /usr/bin NO_CMAKE_FIND_ROOT_PATH REQUIRED)
if(CMAKE_CROSSCOMPILING)
  set(ORLA_DEVSERVER ${PROJECT_SOURCE_DIR}/build/asan/bin/orla-devserver CACHE FILEPATH
    "Natively built development server that the cross-built client is tested against")
endif()
set(ORLA_PROGRAM_TESTS ${CMAKE_CURRENT_LIST_DIR})

function(orla_program_test name script)
  cmake_parse_arguments(ARG "" "CLIENT" "CASES" ${ARGN})
  if(TARGET orla-devserver)
    set(devserver $<TARGET_FILE:orla-devserver>)
  else()
    set(devserver ${ORLA_DEVSERVER})
  endif()
  foreach(case IN LISTS ARG_CASES)
    add_test(NAME ${name}.${case} COMMAND ${ORLA_PYTHON} ${CMAKE_CURRENT_SOURCE_DIR}/${script}
      ${case} --client $<TARGET_FILE:${ARG_CLIENT}> --devserver ${devserver}
      --emulator=${CMAKE_CROSSCOMPILING_EMULATOR})
    set_tests_properties(${name}.${case} PROPERTIES TIMEOUT 300
      ENVIRONMENT "PYTHONPATH=${ORLA_PROGRAM_TESTS};PYTHONDONTWRITEBYTECODE=1")
  endforeach()
endfunction()
