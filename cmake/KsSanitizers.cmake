# Sanitizer and fuzzing instrumentation, fed into ks_options so that every
# target of the project (the plug-in, Common, the counter, tests, fuzzers)
# is built and linked the same way. GCC/Clang only.
#
#   KS_SANITIZE      comma list handed to -fsanitize=, e.g. "address,undefined"
#                    or "thread"; empty: no sanitizer.
#   KS_BUILD_FUZZERS also instruments every target for libFuzzer's coverage
#                    (-fsanitize=fuzzer-no-link), except the functions of
#                    cmake/fuzz_coverage_ignorelist.txt; the fuzz targets
#                    themselves link -fsanitize=fuzzer (fuzz/CMakeLists.txt).
set(KS_SANITIZE "" CACHE STRING
    "Sanitizers for every target, as for -fsanitize= (e.g. address,undefined or thread)")

if(KS_SANITIZE OR KS_BUILD_FUZZERS)
  if(MSVC OR NOT CMAKE_CXX_COMPILER_ID MATCHES "Clang|GNU")
    message(FATAL_ERROR "KS_SANITIZE and KS_BUILD_FUZZERS need GCC or Clang")
  endif()
  target_compile_options(ks_options INTERFACE -fno-omit-frame-pointer -g)
endif()

if(KS_SANITIZE)
  target_compile_options(ks_options INTERFACE -fsanitize=${KS_SANITIZE})
  target_link_options(ks_options INTERFACE -fsanitize=${KS_SANITIZE})
  if(KS_SANITIZE MATCHES "undefined")
    # Undefined behaviour stops the program, so a test that hits it fails.
    target_compile_options(ks_options INTERFACE -fno-sanitize-recover=all)
    target_link_options(ks_options INTERFACE -fno-sanitize-recover=all)
    # Not the dynamic-type check (vptr): it needs the type information of
    # every interface a program calls through, and the demo host reaches the
    # plug-in's interface only through dlopen, as a real host does; with
    # hidden visibility each module also has its own copy of that
    # information. AddressSanitizer catches calls on destroyed objects.
    target_compile_options(ks_options INTERFACE -fno-sanitize=vptr)
    # A Boost header whose one report is on a value it never uses; the file
    # says why, line by line.
    if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
      target_compile_options(ks_options INTERFACE
        -fsanitize-ignorelist=${PROJECT_SOURCE_DIR}/cmake/sanitizer_ignorelist.txt)
    endif()
  endif()
endif()

if(KS_BUILD_FUZZERS)
  if(NOT CMAKE_CXX_COMPILER_ID MATCHES "Clang")
    message(FATAL_ERROR "KS_BUILD_FUZZERS needs clang (libFuzzer)")
  endif()
  target_compile_options(ks_options INTERFACE -fsanitize=fuzzer-no-link
    -fsanitize-coverage-ignorelist=${PROJECT_SOURCE_DIR}/cmake/fuzz_coverage_ignorelist.txt)
endif()

# ks_keep_replaced_allocator(target): for a program that replaces the global
# operator new/delete itself. ThreadSanitizer's static runtime defines them in
# a whole archive, so such a program does not link, and taking the runtime's
# would silently drop the program's own. The program then links the runtime
# without that archive: its allocations still reach the sanitizer through
# malloc and free, which the runtime intercepts.
function(ks_keep_replaced_allocator target)
  if(NOT KS_SANITIZE MATCHES "thread" OR NOT CMAKE_CXX_COMPILER_ID MATCHES "Clang")
    return()
  endif()
  execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-runtime-dir
                  OUTPUT_VARIABLE runtime_dir OUTPUT_STRIP_TRAILING_WHITESPACE)
  set(runtime ${runtime_dir}/libclang_rt.tsan-${CMAKE_SYSTEM_PROCESSOR}.a)
  if(NOT EXISTS ${runtime})
    message(FATAL_ERROR "ThreadSanitizer runtime not found: ${runtime}")
  endif()
  target_link_options(${target} PRIVATE -fno-sanitize-link-runtime
    LINKER:--whole-archive ${runtime} LINKER:--no-whole-archive
    LINKER:--dynamic-list=${runtime}.syms)
  target_link_libraries(${target} PRIVATE ${CMAKE_DL_LIBS} rt)
endfunction()
