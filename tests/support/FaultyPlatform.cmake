# The platform layer with faults, for tests, and on POSIX the system calls with faults. The linker
# options that redirect the calls come with the target; the libraries that make the calls are the ones
# that ship.
set(names Platform)
if(WIN32)
  set(Platform_pattern "\"([^\"]*)\"\\)$")
else()
  set(Platform_pattern "\"([^\"]*)\", \"[^\"]*\"\\)$")
  set(System_pattern "^ORLA_CALL\\([^,]*, [^,]*, [^,]*, ([a-z0-9_]*), ")
  list(APPEND names System)
endif()

add_library(orla_faulty_platform OBJECT)
target_link_libraries(orla_faulty_platform
  PRIVATE orla_options PUBLIC orla_platform INTERFACE orla_test_support)
target_include_directories(orla_faulty_platform PRIVATE ${PROJECT_SOURCE_DIR}/tests)
foreach(name IN LISTS names)
  set(calls_file ${CMAKE_CURRENT_SOURCE_DIR}/Faulty${name}Calls.def)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${calls_file})
  target_sources(orla_faulty_platform PRIVATE Faulty${name}.cpp)
  set_property(SOURCE Faulty${name}.cpp APPEND PROPERTY OBJECT_DEPENDS ${calls_file})
  file(STRINGS ${calls_file} calls REGEX "^ORLA_CALL")
  foreach(call IN LISTS calls)
    if(NOT call MATCHES "${${name}_pattern}")
      message(FATAL_ERROR "No linker name: ${call}")
    endif()
    target_link_options(orla_faulty_platform INTERFACE "LINKER:--wrap=${CMAKE_MATCH_1}")
  endforeach()
endforeach()
