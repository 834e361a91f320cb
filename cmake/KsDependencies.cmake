# Boost headers (date_time parsing is header-only) and GoogleTest.
add_library(ks_boost_headers INTERFACE)
if(CMAKE_CROSSCOMPILING)
  # A folder holding only a link to the host's Boost headers: adding
  # /usr/include itself would shadow the cross compiler's own headers.
  set(KS_BOOST_LINK_DIR ${CMAKE_BINARY_DIR}/boost-include)
  file(MAKE_DIRECTORY ${KS_BOOST_LINK_DIR})
  if(NOT EXISTS ${KS_BOOST_LINK_DIR}/boost)
    file(CREATE_LINK /usr/include/boost ${KS_BOOST_LINK_DIR}/boost SYMBOLIC)
  endif()
  target_include_directories(ks_boost_headers SYSTEM INTERFACE ${KS_BOOST_LINK_DIR})
else()
  find_package(Boost 1.71 REQUIRED)
  target_link_libraries(ks_boost_headers INTERFACE Boost::headers)
endif()
# Boost 1.74's MPL converts -1 to an enumeration in a constant expression,
# which clang 16 and later refuse unless told otherwise.
if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang" AND CMAKE_CXX_COMPILER_VERSION VERSION_GREATER_EQUAL 16)
  target_compile_options(ks_boost_headers INTERFACE -Wno-enum-constexpr-conversion)
endif()

if(KS_BUILD_TESTS)
  if(CMAKE_CROSSCOMPILING)
    set(BUILD_GMOCK OFF CACHE BOOL "" FORCE)
    set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
    add_subdirectory(/usr/src/googletest ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)
    # googletest 1.11 and later define the GTest:: aliases themselves.
    if(NOT TARGET GTest::gtest)
      add_library(GTest::gtest ALIAS gtest)
      add_library(GTest::gtest_main ALIAS gtest_main)
    endif()
  else()
    find_package(GTest REQUIRED)
  endif()
  include(GoogleTest)
endif()
