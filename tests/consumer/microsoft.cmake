# Toolchain: compiles and links as Microsoft's do, for 32-bit Windows, without their C runtime.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_C_COMPILER clang)
set(CMAKE_C_COMPILER_TARGET i686-pc-windows-msvc)
set(CMAKE_C_STANDARD_LIBRARIES "" CACHE STRING "")
set(CMAKE_EXE_LINKER_FLAGS_INIT "-Wl,-entry:main,-nodefaultlib")
# Nothing but a program that names its entry point links.
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)
