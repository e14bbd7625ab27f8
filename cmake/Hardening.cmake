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
  # The checked functions of the compiler's library call orla_stack_protector when they fail.
  target_link_libraries(orla_stack_protector INTERFACE ssp)
  target_link_libraries(orla_hardening INTERFACE orla_stack_protector)
else()
  include(CheckPIESupported)
  check_pie_supported()
  target_link_options(orla_hardening INTERFACE -Wl,-z,relro,-z,now)
  if(CMAKE_SYSTEM_PROCESSOR MATCHES "x86_64|i.86")
    # Files are marked as compatible with a shadow stack. The code is also compatible with indirect
    # branch tracking, but the files cannot be marked so, because Debian 12's startup files (crti.o,
    # Scrt1.o) are not compatible.
    target_compile_options(orla_hardening INTERFACE -fcf-protection)
    target_link_options(orla_hardening INTERFACE -Wl,-z,shstk)
  endif()
endif()
