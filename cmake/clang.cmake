# Cross-build for 64-bit Windows with the distribution's clang and lld, over mingw-w64's headers and
# libraries.
include(${CMAKE_CURRENT_LIST_DIR}/mingw-w64.cmake)

# Clang does not know where Debian keeps gcc's run-time library.
execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-libgcc-file-name
  OUTPUT_VARIABLE libgcc OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
get_filename_component(libgcc ${libgcc} DIRECTORY)
foreach(kind EXE SHARED MODULE)
  set(CMAKE_${kind}_LINKER_FLAGS_INIT "-fuse-ld=lld -B${libgcc} -L${libgcc}")
endforeach()

set(CMAKE_C_COMPILER clang)
set(CMAKE_CXX_COMPILER clang++)
set(CMAKE_C_COMPILER_TARGET x86_64-w64-windows-gnu)
set(CMAKE_CXX_COMPILER_TARGET x86_64-w64-windows-gnu)
