# SPDX-License-Identifier: Apache-2.0
# The options of the build. Options that only developers of this project need default to on in a top-level build only.

include(CMakeDependentOption)

# As a subdirectory, the host chooses build type and library type; its cache is not changed.
if(PROJECT_IS_TOP_LEVEL)
  if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
    set(CMAKE_BUILD_TYPE RelWithDebInfo CACHE STRING "Debug, Release, RelWithDebInfo" FORCE)
  endif()
  option(BUILD_SHARED_LIBS "Build shared libraries" ON)
endif()
option(TIDEWELL_BUILD_TESTS "Build the tests" ${PROJECT_IS_TOP_LEVEL})
option(TIDEWELL_BUILD_EXAMPLES "Build the examples" ${PROJECT_IS_TOP_LEVEL})
option(TIDEWELL_BUILD_TOOLS "Build the programs, such as the stand-in backend" ${PROJECT_IS_TOP_LEVEL})
option(TIDEWELL_BUILD_BENCH "Build the benchmarks" OFF)
option(TIDEWELL_BUILD_OBJC "Build the Objective-C facade and its tests (needs gobjc++ and GNUstep Base)" OFF)
option(TIDEWELL_BUILD_FUZZ "Build the fuzz targets (clang only)" OFF)
cmake_dependent_option(TIDEWELL_BUILD_TESTING "Build Tidewell::Testing, which needs libbrotlienc" ${PROJECT_IS_TOP_LEVEL}
  "NOT TIDEWELL_BUILD_TESTS;NOT TIDEWELL_BUILD_EXAMPLES;NOT TIDEWELL_BUILD_TOOLS;NOT TIDEWELL_BUILD_BENCH;NOT TIDEWELL_BUILD_FUZZ" ON)
option(TIDEWELL_INSTALL "Generate install rules" ${PROJECT_IS_TOP_LEVEL})
option(TIDEWELL_WARNINGS_AS_ERRORS "Treat warnings as errors" ${PROJECT_IS_TOP_LEVEL})
set(TIDEWELL_TEST_FOLDERS "" CACHE STRING "Folders of tests/ to build; empty: all")
set(TIDEWELL_GTEST_SOURCE "" CACHE PATH "GoogleTest's sources, if the installed library does not fit this build")
set(TIDEWELL_SANITIZE "" CACHE STRING "Sanitizers to build with: address,undefined or thread; empty: none")
option(TIDEWELL_PORTABLE_SOURCES "Use the sources for other systems, to try them on this one" OFF)
mark_as_advanced(TIDEWELL_PORTABLE_SOURCES)

# The hosts of the backend. The defaults are reserved names (RFC 2606) that no real server answers.
set(TIDEWELL_HOST_US "api.tidewell.example" CACHE STRING "Default API host")
set(TIDEWELL_HOST_SERV3 "api-serv3.tidewell.example" CACHE STRING "API host of the SERV3 data centre")
set(TIDEWELL_HOST_EU "api-eu.tidewell.example" CACHE STRING "API host of the European data centre")
set(TIDEWELL_HOST_LOGS "logs.tidewell.example" CACHE STRING "Host of the log-collection webhook")

set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
if(NOT CMAKE_CXX_STANDARD)
  set(CMAKE_CXX_STANDARD 20)
endif()
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

# See tidewell_for_this_system.
include(CheckCXXSymbolExists)
set(TIDEWELL_IS_Linux OFF)
set(TIDEWELL_IS_Glibc OFF)
if(CMAKE_SYSTEM_NAME STREQUAL "Linux" AND NOT TIDEWELL_PORTABLE_SOURCES)
  set(TIDEWELL_IS_Linux ON)
  check_cxx_symbol_exists(__GLIBC__ "features.h" TIDEWELL_HAS_GLIBC)
  set(TIDEWELL_IS_Glibc ${TIDEWELL_HAS_GLIBC})
endif()

# armel, 32-bit PowerPC and MIPS have 64-bit atomics only in a library.
if(CMAKE_SIZEOF_VOID_P EQUAL 4)
  include(CheckCXXSourceCompiles)
  check_cxx_source_compiles([[
    #include <atomic>
    std::atomic<long long> number;
    int main(int count, char**) { number = count; return static_cast<int>(number++); }]] TIDEWELL_HAS_64_BIT_ATOMICS)
endif()

# Relative relocations packed as bits: a thirtieth of the size. Needs glibc 2.36, as the C++ library of such a system does.
set(TIDEWELL_PACKED_RELOCATIONS "LINKER:-z,pack-relative-relocs")
if(TIDEWELL_IS_Glibc)
  include(CheckCXXSourceCompiles)
  set(CMAKE_REQUIRED_LINK_OPTIONS ${TIDEWELL_PACKED_RELOCATIONS})
  check_cxx_source_compiles([[
    #include <features.h>
    #if !__GLIBC_PREREQ(2, 36)
    #error "the loader does not know them"
    #endif
    int main() {}]] TIDEWELL_CAN_PACK_RELOCATIONS FAIL_REGEX "warning")
  unset(CMAKE_REQUIRED_LINK_OPTIONS)
endif()
if(NOT TIDEWELL_CAN_PACK_RELOCATIONS)
  set(TIDEWELL_PACKED_RELOCATIONS "")
endif()

find_package(Threads REQUIRED)
find_package(PkgConfig REQUIRED)
find_package(OpenSSL 3.0 REQUIRED)
find_package(ICU 70 REQUIRED COMPONENTS uc i18n)
if(TIDEWELL_BUILD_TESTS OR TIDEWELL_BUILD_BENCH)
  # Tests and benchmarks compare our property lists with libplist.
  pkg_check_modules(LIBPLIST REQUIRED IMPORTED_TARGET libplist-2.0)
endif()
if(NOT TARGET CURL::libcurl)  # the host may have found or built its own
  find_package(CURL REQUIRED)
endif()
pkg_check_modules(TIDEWELL_ZLIB REQUIRED IMPORTED_TARGET zlib)
pkg_check_modules(TIDEWELL_BROTLIDEC REQUIRED IMPORTED_TARGET libbrotlidec)
# Compiled into Tidewell::Testing and into the programs, and named in the SBOM. The other libraries need neither.
if(TIDEWELL_BUILD_TESTING OR TIDEWELL_INSTALL)
  find_path(RAPIDJSON_INCLUDE_DIR rapidjson/rapidjson.h REQUIRED)
  if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang" AND CMAKE_CXX_COMPILER_VERSION VERSION_GREATER_EQUAL 19)
    # RapidJSON 1.1.0 assigns constants in an operator that is never called, which clang 19 rejects: a copy without it. It is
    # written only if it changes, so that nothing is compiled again.
    set(RAPIDJSON_COPY "${PROJECT_BINARY_DIR}/generated/third-party")
    file(COPY "${RAPIDJSON_INCLUDE_DIR}/rapidjson" DESTINATION "${RAPIDJSON_COPY}" PATTERN document.h EXCLUDE)
    file(READ "${RAPIDJSON_INCLUDE_DIR}/rapidjson/document.h" rapidjson_document)
    string(REPLACE "{ s = rhs.s; length = rhs.length; }" "= delete;" rapidjson_document "${rapidjson_document}")
    file(GENERATE OUTPUT "${RAPIDJSON_COPY}/rapidjson/document.h" CONTENT "${rapidjson_document}")
  endif()
endif()
if(TIDEWELL_BUILD_TOOLS OR TIDEWELL_BUILD_BENCH OR TIDEWELL_BUILD_FUZZ)
  find_package(fmt 9 REQUIRED)
endif()

find_program(TIDEWELL_CCACHE ccache)
if(PROJECT_IS_TOP_LEVEL AND TIDEWELL_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  set(CMAKE_CXX_COMPILER_LAUNCHER "${TIDEWELL_CCACHE}")
endif()
