# A toolchain that is compatible with Microsoft's, for 32-bit Windows, without a C runtime.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_C_COMPILER clang)
set(CMAKE_C_COMPILER_TARGET i686-pc-windows-msvc)
set(CMAKE_C_STANDARD_LIBRARIES "" CACHE STRING "")
set(CMAKE_EXE_LINKER_FLAGS_INIT "-Wl,-entry:main,-nodefaultlib")
# A program links only if it names its entry point. CMake's test programs do not, so they are not linked.
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)
