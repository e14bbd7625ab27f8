# The platform layer with faults, for tests, and the system calls with faults. The linker options that
# redirect the calls come with the targets; the libraries that make the calls are the ones that ship.
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS
  FaultyPlatformCalls.def FaultySystemCalls.def)

add_library(orla_faulty_platform OBJECT FaultyPlatform.cpp)
target_link_libraries(orla_faulty_platform
  PRIVATE orla_options PUBLIC orla_platform INTERFACE orla_test_support)
target_include_directories(orla_faulty_platform PRIVATE ${PROJECT_SOURCE_DIR}/tests)
set_property(SOURCE FaultyPlatform.cpp APPEND PROPERTY OBJECT_DEPENDS
  ${CMAKE_CURRENT_SOURCE_DIR}/FaultyPlatformCalls.def)
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

if(NOT WIN32)
  # To be linked together with orla_faulty_platform, which keeps the books.
  add_library(orla_faulty_system OBJECT FaultySystem.cpp)
  target_link_libraries(orla_faulty_system PRIVATE orla_options orla_platform)
  target_include_directories(orla_faulty_system PRIVATE ${PROJECT_SOURCE_DIR}/tests)
  set_property(SOURCE FaultySystem.cpp APPEND PROPERTY OBJECT_DEPENDS
    ${CMAKE_CURRENT_SOURCE_DIR}/FaultySystemCalls.def)
  file(STRINGS FaultySystemCalls.def calls REGEX "^ORLA_SYSTEM_CALL")
  foreach(call IN LISTS calls)
    if(NOT call MATCHES "^ORLA_SYSTEM_CALL\\([^,]*, [^,]*, [^,]*, ([a-z0-9_]*), ")
      message(FATAL_ERROR "No name of a system call: ${call}")
    endif()
    target_link_options(orla_faulty_system INTERFACE "LINKER:--wrap=${CMAKE_MATCH_1}")
  endforeach()
endif()
