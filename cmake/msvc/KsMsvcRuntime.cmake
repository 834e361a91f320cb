# Included after each project() by the toolchain clang-msvc-x86_64.cmake:
# builds the runtime pieces of cmake/msvc/ once per build tree and links them
# into every program and DLL that follows, as Visual C++ links its own
# runtime into everything it links (and, like Visual C++'s, it is not part
# of the interface an installed package exports).
include_guard(GLOBAL)
if(CMAKE_PROJECT_NAME STREQUAL "CMAKE_TRY_COMPILE")
  return()
endif()
add_subdirectory(${CMAKE_CURRENT_LIST_DIR} ${CMAKE_BINARY_DIR}/msvc-runtime)
link_libraries($<BUILD_INTERFACE:ks_msvc_runtime>)
