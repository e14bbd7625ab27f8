# Tests of the packages that scripts/package created. Only the preset release registers them.
if(NOT CMAKE_BUILD_TYPE STREQUAL "Release" OR CMAKE_CROSSCOMPILING)
  return()
endif()
find_package(Python3 REQUIRED COMPONENTS Interpreter)
set(here ${CMAKE_CURRENT_LIST_DIR})
set(made ${PROJECT_SOURCE_DIR}/build/packages)
set(unpacked ${CMAKE_CURRENT_BINARY_DIR}/consumer)
set(release ORLACl-${PROJECT_VERSION})
set(linux_tree ${unpacked}/archive-linux/${release}-linux-${CMAKE_SYSTEM_PROCESSOR})
set(windows_tree ${unpacked}/archive-windows/${release}-windows-x86)
set(debian_tree ${unpacked}/debian/usr)

# orla_unpack_test(<system> <list>...)
# Unpacks packages for the other tests, and compares their files with the lists.
function(orla_unpack_test system)
  add_test(NAME orla_packages_test.${system}.files COMMAND ${CMAKE_COMMAND}
    -DFROM=${made} -DINTO=${unpacked} -DVERSION=${PROJECT_VERSION} -DBUILD=${ORLA_BUILD}
    "-DPACKAGES=${ARGN}" -P ${here}/unpack.cmake)
  set_tests_properties(orla_packages_test.${system}.files PROPERTIES
    LABELS packages TIMEOUT 60 FIXTURES_SETUP ${system})
endfunction()

# orla_agent_test(<name> <tree> [<argument for CMake>...] [ENVIRONMENT <variable=value>...])
# Builds and runs an agent with the unpacked package in <tree>. The name begins with the system that the
# tree is for. The server is always the one for Linux.
function(orla_agent_test name tree)
  cmake_parse_arguments(ARG "" "" "ENVIRONMENT" ${ARGN})
  string(REGEX MATCH "^[a-z]+" system ${name})
  if(system STREQUAL "windows")
    list(APPEND ARG_ENVIRONMENT EMULATOR=${PROJECT_SOURCE_DIR}/scripts/wine-run)
  endif()
  add_test(NAME orla_packages_test.${name} COMMAND ${Python3_EXECUTABLE} ${here}/agent_test.py
    ${tree} ${PROJECT_VERSION} ${linux_tree}/bin/orla-devserver ${ARG_UNPARSED_ARGUMENTS})
  set_tests_properties(orla_packages_test.${name} PROPERTIES
    LABELS packages TIMEOUT 300 FIXTURES_REQUIRED "linux;${system}" ENVIRONMENT
    "PYTHONPATH=${PROJECT_SOURCE_DIR}/tests/tools;PYTHONDONTWRITEBYTECODE=1;\
${ARG_ENVIRONMENT}")
endfunction()

# orla_hardening_test(<name> <file>...)
# Checks the hardening of programs and libraries. The name begins with their system.
function(orla_hardening_test name)
  string(REGEX MATCH "^[a-z]+" system ${name})
  add_test(NAME orla_packages_test.${name}.hardening COMMAND ${Python3_EXECUTABLE}
    ${PROJECT_SOURCE_DIR}/tests/library/hardening_test.py ${ARGN})
  set_tests_properties(orla_packages_test.${name}.hardening PROPERTIES
    LABELS packages TIMEOUT 60 FIXTURES_REQUIRED ${system})
endfunction()

orla_unpack_test(linux archive-linux debian-library debian-development debian-tools)
add_test(NAME orla_packages_test.linux.lintian COMMAND sh -c
  "exec lintian --allow-root --fail-on error '${made}'/*_${PROJECT_VERSION}-${ORLA_BUILD}_*.deb")
set_tests_properties(orla_packages_test.linux.lintian PROPERTIES LABELS packages TIMEOUT 60)
orla_agent_test(linux.archive.cmake ${linux_tree} -DORLACl_DIR=${linux_tree}/lib/cmake/ORLACl)
orla_agent_test(linux.archive.pkg-config ${linux_tree}
  ENVIRONMENT PKG_CONFIG_LIBDIR=${linux_tree}/lib/pkgconfig)
orla_hardening_test(linux.archive ${linux_tree}/lib/libORLACl.so.${PROJECT_VERSION}
  ${linux_tree}/bin/orla ${linux_tree}/bin/orla-devserver)
# CMake, pkg-config and the loader must be told about directories that are not the system's own.
set(libraries ${debian_tree}/lib/${CMAKE_LIBRARY_ARCHITECTURE})
orla_agent_test(linux.debian.cmake ${debian_tree} -DORLACl_DIR=${libraries}/cmake/ORLACl
  ENVIRONMENT LD_LIBRARY_PATH=${libraries})
orla_agent_test(linux.debian.pkg-config ${debian_tree}
  ENVIRONMENT LD_LIBRARY_PATH=${libraries} PKG_CONFIG_LIBDIR=${libraries}/pkgconfig)
orla_hardening_test(linux.debian ${libraries}/libORLACl.so.${PROJECT_VERSION}
  ${debian_tree}/bin/orla ${debian_tree}/bin/orla-devserver)

orla_unpack_test(windows archive-windows)
set(mingw --toolchain=${PROJECT_SOURCE_DIR}/cmake/toolchain-win32.cmake)
orla_agent_test(windows.cmake ${windows_tree} ${mingw}
  -DORLACl_DIR=${windows_tree}/lib/cmake/ORLACl)
orla_agent_test(windows.pkg-config ${windows_tree} ${mingw}
  ENVIRONMENT PKG_CONFIG_LIBDIR=${windows_tree}/lib/pkgconfig)
orla_agent_test(windows.microsoft ${windows_tree} --toolchain=${here}/microsoft.cmake
  -DORLACl_DIR=${windows_tree}/lib/cmake/ORLACl)
orla_hardening_test(windows ${windows_tree}/bin/ORLACl.dll ${windows_tree}/bin/orla.exe)

# The changelog has an entry for the version.
add_test(NAME orla_packages_test.linux.changelog COMMAND grep -F "## ${PROJECT_VERSION} "
  ${linux_tree}/share/doc/ORLACl/CHANGELOG.md)
set_tests_properties(orla_packages_test.linux.changelog PROPERTIES
  LABELS packages TIMEOUT 60 FIXTURES_REQUIRED linux)
