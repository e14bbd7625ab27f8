# The platform layer with faults, for tests. The linker options that redirect the calls come with the
# target; the libraries that make the calls are the ones that ship.
add_library(orla_faulty_platform OBJECT FaultyPlatform.cpp)
target_link_libraries(orla_faulty_platform
  PRIVATE orla_options PUBLIC orla_platform INTERFACE orla_test_support)
target_include_directories(orla_faulty_platform PRIVATE ${PROJECT_SOURCE_DIR}/tests)
set_property(SOURCE FaultyPlatform.cpp APPEND PROPERTY OBJECT_DEPENDS
  ${CMAKE_CURRENT_SOURCE_DIR}/FaultyPlatformCalls.def)

set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS FaultyPlatformCalls.def)
file(STRINGS FaultyPlatformCalls.def calls REGEX "^ORLA_CALL")
foreach(call IN LISTS calls)
  if(NOT call MATCHES "\"([^\"]*)\", \"([^\"]*)\"\\)$")
    message(FATAL_ERROR "No linker names: ${call}")
  endif()
  if(WIN32)
    set(symbol ${CMAKE_MATCH_2})
  else()
    set(symbol ${CMAKE_MATCH_1})
  endif()
  target_link_options(orla_faulty_platform INTERFACE "LINKER:--wrap=${symbol}")
endforeach()
