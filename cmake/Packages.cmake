# What is installed, and what CPack makes of it: an archive of the whole, or, with ORLA_DEBIAN, a
# Debian package each for the library, its development files and the tools.
#
# The target "packaged" builds all that is installed and no more.

set(CPACK_PACKAGE_CONTACT "ORLACl authors <orlacl@example.com>")
set(library_package liborlacl${PROJECT_VERSION_MAJOR})
set(development_package liborlacl-dev)
set(tools_package orla-tools)
if(ORLA_DEBIAN)
  set(CMAKE_INSTALL_DOCDIR ${CMAKE_INSTALL_DATADIR}/doc/${development_package})
endif()
foreach(folder IN ITEMS BINDIR INCLUDEDIR LIBDIR)
  if(IS_ABSOLUTE "${CMAKE_INSTALL_${folder}}")
    message(FATAL_ERROR "CMAKE_INSTALL_${folder} is ${CMAKE_INSTALL_${folder}}: it must be relative "
      "to the prefix, so that what is installed may be moved")
  endif()
endforeach()
set(programs)
foreach(program IN ITEMS orla orla-devserver)
  if(TARGET ${program})
    list(APPEND programs ${program})
  endif()
endforeach()
add_custom_target(packaged DEPENDS ORLACl ${programs})
# What was not built is not installed in silence: installing it fails.
set(CMAKE_SKIP_INSTALL_ALL_DEPENDENCY ON)

# The library and the tools.
install(TARGETS ORLACl EXPORT ORLAClTargets
  RUNTIME COMPONENT library
  LIBRARY COMPONENT library NAMELINK_COMPONENT development
  ARCHIVE COMPONENT development
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
if(programs)
  install(TARGETS ${programs} COMPONENT tools)
endif()
if(TARGET orla AND NOT ORLA_DEBIAN)
  # This tree may lie anywhere: the client finds the library beside it. So it does in the build tree:
  # CMake would fill up a path of its own there with empty entries, which are the current folder.
  set(beside "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}" "$ORIGIN/../lib")
  list(REMOVE_DUPLICATES beside)
  set_target_properties(orla PROPERTIES INSTALL_RPATH "${beside}" BUILD_WITH_INSTALL_RPATH ON)
endif()

# The development files.
install(DIRECTORY include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)
if(WIN32)
  add_dependencies(packaged orla_microsoft_import_library)
  install(FILES ${CMAKE_LIBRARY_OUTPUT_DIRECTORY}/ORLACl.lib
    DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)
  install(FILES src/client/ORLACl.import.def
    DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development RENAME ORLACl.def)
endif()

include(CMakePackageConfigHelpers)
set(config_folder ${CMAKE_INSTALL_LIBDIR}/cmake/ORLACl)
configure_package_config_file(packaging/ORLAClConfig.cmake.in packaging/ORLAClConfig.cmake
  INSTALL_DESTINATION ${config_folder} NO_SET_AND_CHECK_MACRO NO_CHECK_REQUIRED_COMPONENTS_MACRO)
write_basic_package_version_file(packaging/ORLAClConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES
  ${PROJECT_BINARY_DIR}/packaging/ORLAClConfig.cmake
  ${PROJECT_BINARY_DIR}/packaging/ORLAClConfigVersion.cmake
  DESTINATION ${config_folder} COMPONENT development)
install(EXPORT ORLAClTargets NAMESPACE ORLACl::
  DESTINATION ${config_folder} COMPONENT development)

set(pkgconfig_folder ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
string(REGEX REPLACE "[^/]+" ".." prefix_from_pkgconfig ${pkgconfig_folder})
configure_file(packaging/orlacl.pc.in packaging/orlacl.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/packaging/orlacl.pc
  DESTINATION ${pkgconfig_folder} COMPONENT development)

# The documents and examples, in folders as in the sources, so that links between them hold.
install(FILES README.md CHANGELOG.md CONTRIBUTING.md
  DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT development)
install(DIRECTORY docs DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT development
  FILES_MATCHING PATTERN *.md PATTERN *.svg PATTERN *.png)
install(DIRECTORY examples DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT development)
install(FILES bindings/python/orlacl.py
  DESTINATION ${CMAKE_INSTALL_DOCDIR}/bindings/python COMPONENT development)

# orla_install_compressed(<file> <name> <folder> <component>)
function(orla_install_compressed file name folder component)
  set(compressed ${PROJECT_BINARY_DIR}/packaging/${name}.gz)
  if(NOT TARGET packaged_${name})
    add_custom_command(OUTPUT ${compressed} COMMAND gzip -9nc ${file} > ${compressed}
      DEPENDS ${file})
    add_custom_target(packaged_${name} DEPENDS ${compressed})
    add_dependencies(packaged packaged_${name})
  endif()
  install(FILES ${compressed} DESTINATION ${folder} COMPONENT ${component})
endfunction()

if(programs AND NOT WIN32)
  orla_install_compressed(${PROJECT_SOURCE_DIR}/tools/orla/orla.1 orla.1
    ${CMAKE_INSTALL_MANDIR}/man1 tools)
  orla_install_compressed(${PROJECT_SOURCE_DIR}/tools/devserver/orla-devserver.1 orla-devserver.1
    ${CMAKE_INSTALL_MANDIR}/man1 tools)
  install(FILES tools/orla/orla.bash RENAME orla
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT tools)
endif()

# orla_install_copyright(<name> <folder> <component> [<what is linked in>=<file of its licence>...])
function(orla_install_copyright name folder component)
  set(output ${PROJECT_BINARY_DIR}/packaging/copyright.${name})
  set(script ${PROJECT_SOURCE_DIR}/packaging/copyright.cmake)
  add_custom_command(OUTPUT ${output}
    COMMAND ${CMAKE_COMMAND} -DOUTPUT=${output} "-DLICENCES=${ARGN}" -P ${script}
    DEPENDS ${script} VERBATIM)
  add_custom_target(packaged_copyright_${name} DEPENDS ${output})
  add_dependencies(packaged packaged_copyright_${name})
  install(FILES ${output} RENAME copyright DESTINATION ${folder} COMPONENT ${component})
endfunction()

# What the tools hold beside their own code; on Windows also the compiler's runtime, which is in the
# DLL too. The library for Linux holds its own code alone.
set(licences)
set(components library development)
if(programs)
  list(APPEND components tools)
  list(APPEND licences
    CLI11=/usr/share/doc/libcli11-dev/copyright
    "JSON for Modern C++=/usr/share/doc/nlohmann-json3-dev/copyright")
endif()
if(WIN32)
  list(APPEND licences
    "GCC's runtime, libgcc, libssp and libstdc++=/usr/share/doc/gcc-mingw-w64-i686-posix-runtime/copyright"
    "The GNU General Public License of GCC's runtime=/usr/share/common-licenses/GPL-3"
    "MinGW-w64's runtime, winpthreads=/usr/share/doc/mingw-w64-i686-dev/copyright")
elseif(TARGET orla-devserver)
  list(APPEND licences cpp-httplib=/usr/share/doc/libcpp-httplib-dev/copyright)
endif()
if(ORLA_DEBIAN)
  string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC)
  configure_file(packaging/changelog.in packaging/changelog @ONLY)
  foreach(component IN LISTS components)
    set(folder ${CMAKE_INSTALL_DATADIR}/doc/${${component}_package})
    orla_install_compressed(${PROJECT_BINARY_DIR}/packaging/changelog changelog.Debian
      ${folder} ${component})
    if(component STREQUAL "tools")
      orla_install_copyright(${component} ${folder} ${component} ${licences})
    else()
      orla_install_copyright(${component} ${folder} ${component})
    endif()
  endforeach()
else()
  orla_install_copyright(all ${CMAKE_INSTALL_DOCDIR} library ${licences})
endif()

# The packages.
set(CPACK_PACKAGE_NAME ORLACl)
set(CPACK_PACKAGE_VENDOR "ORLACl authors")
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
if(WIN32)
  set(CPACK_GENERATOR ZIP)
  set(CPACK_PACKAGE_FILE_NAME ORLACl-${PROJECT_VERSION}-windows-x86)
elseif(NOT ORLA_DEBIAN)
  set(CPACK_GENERATOR TGZ)
  set(CPACK_PACKAGE_FILE_NAME ORLACl-${PROJECT_VERSION}-linux-${CMAKE_SYSTEM_PROCESSOR})
else()
  set(CPACK_GENERATOR DEB)
  set(CPACK_DEB_COMPONENT_INSTALL ON)
  set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
  set(CPACK_DEBIAN_PACKAGE_RELEASE ${ORLA_BUILD})
  set(exact "(= ${PROJECT_VERSION}-${ORLA_BUILD})")

  set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME ${library_package})
  set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
  set(CPACK_DEBIAN_LIBRARY_PACKAGE_SHLIBDEPS ON)
  set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/packaging/triggers)
  # Whatever the modes of the files here are.
  set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_STRICT_PERMISSION ON)
  set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
  set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
  set(CPACK_COMPONENT_LIBRARY_DESCRIPTION "client library of management agents
Through it an agent on a managed workstation asks its central management server
for versions and names, uploads packages and downloads files.")

  set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME ${development_package})
  set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
  set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${library_package} ${exact}")
  set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION
    "client library of management agents (development files)
The header, what compilers and CMake need to link the library, its documents,
examples, and a module for Python.")

  set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME ${tools_package})
  set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION net)
  set(CPACK_DEBIAN_TOOLS_PACKAGE_SHLIBDEPS ON)
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
  set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "${library_package} ${exact}")
  set(CPACK_COMPONENT_TOOLS_DESCRIPTION "command-line client and server for management packages
orla does from the command line what an agent does through the ORLACl library.
orla-devserver is a management server on one folder, to try and test agents on.")
endif()
include(CPack)
