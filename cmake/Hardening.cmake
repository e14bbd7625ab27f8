# Every target of the project links orla_hardening. With ORLA_HARDENING it adds the compile and link options
# that make memory errors harder to exploit: Debian's, and immediate binding.
add_library(orla_hardening INTERFACE)
if(NOT ORLA_HARDENING)
  return()
endif()

target_compile_options(orla_hardening INTERFACE
  -fstack-protector-strong -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2)
if(WIN32)
  target_link_options(orla_hardening INTERFACE
    -Wl,--dynamicbase,--nxcompat $<$<EQUAL:${CMAKE_SIZEOF_VOID_P},8>:-Wl,--high-entropy-va>)
  add_library(orla_stack_protector STATIC
    ${PROJECT_SOURCE_DIR}/src/platform/win32/stack_protector.cpp)
  # The checked functions of the compiler's library use the code above when they fail.
  target_link_libraries(orla_stack_protector INTERFACE ssp)
  target_link_libraries(orla_hardening INTERFACE orla_stack_protector)
else()
  include(CheckPIESupported)
  check_pie_supported()
  target_link_options(orla_hardening INTERFACE -Wl,-z,relro,-z,now)
  if(CMAKE_SYSTEM_PROCESSOR MATCHES "x86_64|i.86")
    # Files are marked as fit for a shadow stack. They are not marked as fit for indirect branch
    # tracking, although their code is: Debian 12's start files (crti.o, Scrt1.o) are not.
    target_compile_options(orla_hardening INTERFACE -fcf-protection)
    target_link_options(orla_hardening INTERFACE -Wl,-z,shstk)
  endif()
endif()
