# Functions and targets that the whole build uses: compile options, layers and test programs.
include(GoogleTest)
include(cmake/Hardening.cmake)

# Compile options of the project's own targets, but not of GoogleTest.
add_library(orla_options INTERFACE)
target_compile_options(orla_options INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion
  $<$<BOOL:${ORLA_WERROR}>:-Werror>
  # GCC 12 warns about overlapping copies inside std::string that cannot happen (GCC bug 105651).
  $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>
  $<$<CXX_COMPILER_ID:Clang>:-Wthread-safety>)
target_link_libraries(orla_options INTERFACE orla_hardening)

if(ORLA_SANITIZE)
  add_compile_options(-fsanitize=${ORLA_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer -O1)
  add_link_options(-fsanitize=${ORLA_SANITIZE})
endif()

# orla_layer(<name> SOURCES <file>... LINKS <layer below>...)
# Builds one directory of src/ as the static library orla_<name>. A layer links only the layers below
# it, so a call to a higher layer does not link.
function(orla_layer name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LINKS" ${ARGN})
  add_library(orla_${name} STATIC ${ARG_SOURCES})
  target_include_directories(orla_${name} PUBLIC ${PROJECT_SOURCE_DIR}/src)
  target_link_libraries(orla_${name} PRIVATE orla_options PUBLIC ${ARG_LINKS})
  if(ORLA_LTO)
    # The object files also contain ordinary code, because the tests are linked without link-time
    # optimization. With it they could not replace single functions of the library.
    target_compile_options(orla_${name} PRIVATE -flto=auto -ffat-lto-objects)
  endif()
endfunction()

# orla_test(<name> LINKS <library>... [TIMEOUT <seconds>])
# Builds the test program of the calling directory from every *_test.cpp in it, except the files that
# are named for the other platform. Each test runs in its own process, with a time limit.
function(orla_test name)
  cmake_parse_arguments(ARG "" "TIMEOUT" "LINKS" ${ARGN})
  if(NOT ARG_TIMEOUT)
    set(ARG_TIMEOUT 120)
  endif()
  file(GLOB sources CONFIGURE_DEPENDS *_test.cpp)
  if(WIN32)
    list(FILTER sources EXCLUDE REGEX "_posix_test\\.cpp$")
  else()
    list(FILTER sources EXCLUDE REGEX "_win32_test\\.cpp$")
  endif()
  add_executable(${name} ${sources})
  target_link_libraries(${name} PRIVATE orla_options ${ARG_LINKS} GTest::gmock_main)
  if(ORLA_LTO)
    target_link_options(${name} PRIVATE -fno-lto)
  endif()
  gtest_discover_tests(${name} TEST_PREFIX "${name}." DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 120
    PROPERTIES TIMEOUT ${ARG_TIMEOUT})
endfunction()
