# Cross build for Windows x64 in Visual C++'s C++ ABI: clang in Visual C++
# mode, lld-link, Microsoft's STL (headers, and the sources Visual C++ links
# statically), Wine's C runtime headers and DLLs, and the small compatibility
# layer in cmake/msvc/ for Visual C++'s closed pieces. The binaries import
# the Visual C++ 2015-2022 runtime (vcruntime140, msvcp140, ucrtbase); the
# test programs run under Wine through CMake's cross-compiling emulator.
#
#   cmake --preset msvc     (or: cmake -S . -B build-msvc -G Ninja
#                            -DCMAKE_TOOLCHAIN_FILE=cmake/clang-msvc-x86_64.cmake)
#
# KS_MSVC_STL names Microsoft's STL, tag vs-2022-17.14 (the folder that holds
# stl/inc and stl/src): a cache variable, initialized from the environment
# variable of the same name, by default ../shared/third_party/msvc-stl beside
# the project's root.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_VERSION 10.0)
set(CMAKE_SYSTEM_PROCESSOR AMD64)

if(DEFINED ENV{KS_MSVC_STL})
  set(ks_msvc_stl_default "$ENV{KS_MSVC_STL}")
else()
  get_filename_component(ks_msvc_stl_default
                         "${CMAKE_CURRENT_LIST_DIR}/../../shared/third_party/msvc-stl" ABSOLUTE)
endif()
set(KS_MSVC_STL "${ks_msvc_stl_default}" CACHE PATH
    "Microsoft's STL, tag vs-2022-17.14 (holds stl/inc and stl/src)")
if(NOT EXISTS "${KS_MSVC_STL}/stl/inc/yvals_core.h")
  message(FATAL_ERROR "KS_MSVC_STL=${KS_MSVC_STL} does not hold Microsoft's STL (stl/inc/yvals_core.h)")
endif()
# Debian's Wine: the C runtime and Windows headers, and the x86_64 DLLs
# whose export tables give the import libraries.
set(KS_WINE_INCLUDE_DIR /usr/include/wine/wine)
set(KS_WINE_DLL_DIR /usr/lib/x86_64-linux-gnu/wine/x86_64-windows)

set(KS_LLVM_SUFFIX -19)
set(CMAKE_C_COMPILER clang${KS_LLVM_SUFFIX})
set(CMAKE_CXX_COMPILER clang++${KS_LLVM_SUFFIX})
set(CMAKE_C_COMPILER_TARGET x86_64-pc-windows-msvc)
set(CMAKE_CXX_COMPILER_TARGET x86_64-pc-windows-msvc)
set(CMAKE_AR llvm-ar${KS_LLVM_SUFFIX})
set(CMAKE_RANLIB llvm-ranlib${KS_LLVM_SUFFIX})
set(CMAKE_RC_COMPILER llvm-rc${KS_LLVM_SUFFIX})
set(CMAKE_OBJDUMP llvm-objdump${KS_LLVM_SUFFIX})
set(KS_DLLTOOL llvm-dlltool${KS_LLVM_SUFFIX})

# The headers, in the order Visual C++ sees them: the STL, the layer's
# closed headers and wrappers, the compiler's own, the C runtime, Windows.
execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-resource-dir
                OUTPUT_VARIABLE ks_clang_resource_dir OUTPUT_STRIP_TRAILING_WHITESPACE)
set(KS_MSVC_SYSTEM_INCLUDE_DIRECTORIES
    ${KS_MSVC_STL}/stl/inc
    ${CMAKE_CURRENT_LIST_DIR}/msvc/include
    ${ks_clang_resource_dir}/include
    ${KS_WINE_INCLUDE_DIR}/msvcrt
    ${KS_WINE_INCLUDE_DIR}/windows)
set(CMAKE_C_STANDARD_INCLUDE_DIRECTORIES ${KS_MSVC_SYSTEM_INCLUDE_DIRECTORIES})
set(CMAKE_CXX_STANDARD_INCLUDE_DIRECTORIES ${KS_MSVC_SYSTEM_INCLUDE_DIRECTORIES})
# The compiler claims Visual C++ 2022 17.14. The STL's vectorized algorithms
# are off (its documented switch): clang builds their source only with AVX2
# enabled for the whole file, so the headers' own loops are used instead.
# std::mutex and std::condition_variable are initialized through the runtime
# (_Mtx_init_in_situ, _Cnd_init_in_situ), as every msvcp140.dll since Visual
# C++ 2015 expects; the 17.10+ headers' constexpr constructors would need
# msvcp140.dll 14.40 or later (docs/windows.md, the runtime floor).
# Every function with a buffer on its stack checks the security cookie on
# return (-fstack-protector-strong: Visual C++'s /GS). Paths under the
# source, build and STL folders are written relative (__FILE__ and debug
# information), so that no binary names the build machine's folders.
get_filename_component(ks_source_root "${CMAKE_CURRENT_LIST_DIR}/.." ABSOLUTE)
set(ks_msvc_common_flags
    "-nostdinc -fms-compatibility-version=19.44 -fstack-protector-strong \
-ffile-prefix-map=${ks_source_root}=. -ffile-prefix-map=${CMAKE_BINARY_DIR}=. \
-ffile-prefix-map=${KS_MSVC_STL}=msvc-stl")
set(CMAKE_C_FLAGS_INIT "${ks_msvc_common_flags}")
set(CMAKE_CXX_FLAGS_INIT
    "${ks_msvc_common_flags} -D_USE_STD_VECTOR_ALGORITHMS=0 -D_DISABLE_CONSTEXPR_MUTEX_CONSTRUCTOR")
# The runtime is /MD (the DLLs), in every project, googletest's too, in
# every build type; a project that names another (the tests' Debug host)
# keeps its own.
set(CMAKE_POLICY_DEFAULT_CMP0091 NEW)
if(NOT DEFINED CMAKE_MSVC_RUNTIME_LIBRARY)
  set(CMAKE_MSVC_RUNTIME_LIBRARY MultiThreadedDLL)
endif()
# The static runtime and the import libraries come from cmake/msvc
# (KsMsvcRuntime.cmake, included after each project()), not from the
# libraries the objects name.
# Every binary gets a PDB (/debug) whose debug directory names it by file
# name only (/pdbaltpath:%_PDB%), not by its path on the build machine.
set(ks_msvc_link_flags "-Xlinker /nodefaultlib -Xlinker /debug -Xlinker /pdbaltpath:%_PDB%")
set(CMAKE_EXE_LINKER_FLAGS_INIT "${ks_msvc_link_flags}")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "${ks_msvc_link_flags}")
set(CMAKE_C_STANDARD_LIBRARIES "" CACHE STRING "Libraries for every C binary (ks_msvc_runtime)")
set(CMAKE_CXX_STANDARD_LIBRARIES "" CACHE STRING "Libraries for every C++ binary (ks_msvc_runtime)")
set(CMAKE_PROJECT_INCLUDE ${CMAKE_CURRENT_LIST_DIR}/msvc/KsMsvcRuntime.cmake)
# Checks compile and do not link (the runtime is built by the project), so
# the answers of FindThreads' link checks are given: Windows threads, no
# pthreads library.
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)
foreach(check IN ITEMS CMAKE_HAVE_LIBC_PTHREAD CMAKE_HAVE_PTHREADS_CREATE CMAKE_HAVE_PTHREAD_CREATE
                       THREADS_HAVE_PTHREAD_ARG)
  set(${check} OFF CACHE INTERNAL "Windows threads (clang-msvc-x86_64.cmake)")
endforeach()

# Test programs run under Wine.
include(${CMAKE_CURRENT_LIST_DIR}/KsWineEmulator.cmake)
