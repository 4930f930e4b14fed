# SPDX-License-Identifier: Apache-2.0
# Functions for the targets of this project.

# tidewell_settings(TARGET): warnings, sanitizers, visibility.
function(tidewell_settings target)
  target_compile_features(${target} PUBLIC cxx_std_20)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Wold-style-cast
                                           -Woverloaded-virtual -Wcast-align -Wunused)
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # gcc 12 gives false warnings for inlined std::string code. The sanitizers find real errors.
    target_compile_options(${target} PRIVATE -Wno-maybe-uninitialized -Wno-restrict)
    # In a unity build gcc treats the included sources as headers and warns about types with internal linkage.
    target_compile_options(${target} PRIVATE "$<$<BOOL:$<TARGET_PROPERTY:UNITY_BUILD>>:-Wno-subobject-linkage>")
  endif()
  if(CMAKE_CXX_COMPILER_ID MATCHES Clang)
    target_compile_options(${target} PRIVATE -Wthread-safety)
    if(CMAKE_CXX_COMPILER_VERSION VERSION_GREATER_EQUAL 17)
      # std::stable_sort of libstdc++ 12 calls a function that it deprecates.
      target_compile_options(${target} PRIVATE -Wno-deprecated-declarations)
    endif()
  endif()
  if(TIDEWELL_WARNINGS_AS_ERRORS)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
  if(TIDEWELL_SANITIZE)
    target_compile_options(${target} PRIVATE -fsanitize=${TIDEWELL_SANITIZE} -fno-sanitize-recover=all
                                             -fno-omit-frame-pointer)
    target_link_options(${target} PRIVATE -fsanitize=${TIDEWELL_SANITIZE})
    if(CMAKE_CXX_COMPILER_ID MATCHES Clang)
      target_compile_options(${target} PRIVATE
        "-fsanitize-ignorelist=${PROJECT_SOURCE_DIR}/cmake/sanitizer-ignorelist.txt")
    endif()
  endif()
  if(CMAKE_SIZEOF_VOID_P EQUAL 4)
    # The default is 32 bits: files with large inode numbers or dates after 2038 could not be read. No public header and
    # no call of another library's function has these types.
    target_compile_definitions(${target} PRIVATE _FILE_OFFSET_BITS=64 _TIME_BITS=64)
  endif()
  target_link_options(${target} PRIVATE ${TIDEWELL_PACKED_RELOCATIONS})
  if(TIDEWELL_BUILD_FUZZ)
    target_compile_options(${target} PRIVATE -fsanitize=fuzzer-no-link)  # coverage feedback for the fuzzers
  endif()
  set_target_properties(${target} PROPERTIES
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON
    POSITION_INDEPENDENT_CODE ON)
endfunction()

# tidewell_enable_c(): programs in C, compiled by the same compiler as the library.
macro(tidewell_enable_c)
  if(NOT CMAKE_C_COMPILER AND CMAKE_CXX_COMPILER MATCHES "(clang|g)[+][+]")  # otherwise CMake searches, and finds that of c++
    string(REPLACE "clang++" "clang" CMAKE_C_COMPILER "${CMAKE_CXX_COMPILER}")
    string(REPLACE "g++" "gcc" CMAKE_C_COMPILER "${CMAKE_C_COMPILER}")
  endif()
  enable_language(C)
endmacro()

# tidewell_c_settings(TARGET): the same as tidewell_settings for a program in C99, which links no C++.
function(tidewell_c_settings target)
  set_target_properties(${target} PROPERTIES C_STANDARD 99 C_STANDARD_REQUIRED ON C_EXTENSIONS OFF UNITY_BUILD OFF LINKER_LANGUAGE C)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic)
  if(TIDEWELL_WARNINGS_AS_ERRORS)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
  if(TIDEWELL_SANITIZE)  # the runtime for the libraries is the one of C++
    target_compile_options(${target} PRIVATE -fsanitize=${TIDEWELL_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    target_link_options(${target} PRIVATE -fsanitize=${TIDEWELL_SANITIZE})
    set_target_properties(${target} PROPERTIES LINKER_LANGUAGE CXX)
  endif()
endfunction()

# tidewell_for_this_system(LIST): removes sources for other systems. A header with system-specific code has two sources:
# NameLinux.cpp or NameGlibc.cpp (Linux with the GNU C library), and NamePortable.cpp for all other systems.
function(tidewell_for_this_system list)
  set(sources ${${list}})
  foreach(system Linux Glibc)
    set(own ${sources})
    list(FILTER own INCLUDE REGEX "${system}\\.cpp$")
    foreach(source ${own})
      if(TIDEWELL_IS_${system})
        string(REGEX REPLACE "${system}\\.cpp$" "Portable.cpp" source "${source}")
      endif()
      list(REMOVE_ITEM sources "${source}")
    endforeach()
  endforeach()
  set(${list} ${sources} PARENT_SCOPE)
endfunction()

# tidewell_fast(TARGET FOLDER FILES…): an optimised build optimises these files of FOLDER (wildcards) for speed, and all others of the
# target for size.
function(tidewell_fast target folder)
  if(CMAKE_BUILD_TYPE STREQUAL "Debug")  # files with options of their own would not be in a unity build
    return()
  endif()
  foreach(pattern ${ARGN})
    file(GLOB fast CONFIGURE_DEPENDS "${folder}/${pattern}")
    if(NOT fast)
      message(FATAL_ERROR "no file for FAST ${pattern}")
    endif()
    set_source_files_properties(${fast} PROPERTIES COMPILE_OPTIONS "$<$<NOT:$<CONFIG:Debug>>:-O2>")
  endforeach()
  target_compile_options(${target} PRIVATE "$<$<NOT:$<CONFIG:Debug>>:-Os>")
endfunction()

# tidewell_layer(NAME [WITHOUT REGEX] [FAST FILES…] [LINK LIBRARIES…]): builds the .cpp files of tidewell/NAME, except those that match
# REGEX, into TidewellCore. With FAST, an optimised build optimises these files (wildcards) for speed and all others for size.
function(tidewell_layer name)
  cmake_parse_arguments(arg "" "WITHOUT" "FAST;LINK" ${ARGN})
  file(GLOB_RECURSE sources CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/tidewell/${name}/*.cpp")
  tidewell_for_this_system(sources)
  if(arg_WITHOUT)
    list(FILTER sources EXCLUDE REGEX "${arg_WITHOUT}")
  endif()
  if(NOT sources)
    return()
  endif()
  add_library(tidewell_${name} OBJECT ${sources})
  tidewell_settings(tidewell_${name})
  if(arg_FAST)
    tidewell_fast(tidewell_${name} "${PROJECT_SOURCE_DIR}/tidewell/${name}" ${arg_FAST})
  endif()
  target_include_directories(tidewell_${name} PUBLIC
    "$<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>" "$<BUILD_INTERFACE:${PROJECT_BINARY_DIR}/generated>")
  target_link_libraries(tidewell_${name} PRIVATE ${arg_LINK})
  target_sources(TidewellCore PRIVATE $<TARGET_OBJECTS:tidewell_${name}>)
endfunction()

# tidewell_exports(TARGET [MAP]): a shared library exports only the names in MAP, by default those of `tidewell`. A plug-in that
# links the static library exports none of them.
function(tidewell_exports target)
  set(map "${PROJECT_SOURCE_DIR}/tidewell/exports.map")
  if(ARGC GREATER 1)
    set(map "${ARGV1}")
  endif()
  if(APPLE)
    return()
  endif()
  if(NOT BUILD_SHARED_LIBS)
    target_link_options(${target} INTERFACE "LINKER:--exclude-libs,lib${target}.a")
  else()
    # The library calls its own functions directly: fewer symbols for the loader to look up before `main`.
    target_link_options(${target} PRIVATE "LINKER:--version-script=${map}" "LINKER:-Bsymbolic-functions")
    set_target_properties(${target} PROPERTIES LINK_DEPENDS "${map}")
  endif()
endfunction()

# The folder of a library or program, in the run paths of those beside it.
if(APPLE)
  set(TIDEWELL_ORIGIN "@loader_path")
else()
  set(TIDEWELL_ORIGIN "\$ORIGIN")
endif()

# The folder of modules, relative to the library that loads them; the same in the build tree and the installed tree.
set(TIDEWELL_MODULE_FOLDER "tidewell/${PROJECT_VERSION_MAJOR}")

# tidewell_library(TARGET EXPORT_NAME NAME PACKAGE NAME DESCRIPTION TEXT [COMPONENT NAME] [REQUIRES PACKAGES] [PRIVATE PACKAGES]
# [STATIC PACKAGES…]): registers the library of the calling folder for TidewellInstall.cmake: its name in the CMake package, its install
# component, its pkg-config file with the public and private dependencies, and what hosts of the static library must find
# (see TidewellCoreConfig.cmake.in).
function(tidewell_library target)
  cmake_parse_arguments(arg "" "EXPORT_NAME;PACKAGE;DESCRIPTION;COMPONENT;REQUIRES;PRIVATE" "STATIC" ${ARGN})
  get_filename_component(folder "${CMAKE_CURRENT_SOURCE_DIR}" NAME)
  if(NOT arg_COMPONENT)
    set(arg_COMPONENT runtime)
  endif()
  set_target_properties(${target} PROPERTIES
    VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR} EXPORT_NAME ${arg_EXPORT_NAME}
    TIDEWELL_PACKAGE "${arg_PACKAGE}" TIDEWELL_DESCRIPTION "${arg_DESCRIPTION}" TIDEWELL_COMPONENT ${arg_COMPONENT}
    TIDEWELL_REQUIRES "${arg_REQUIRES}" TIDEWELL_PRIVATE "${arg_PRIVATE}" TIDEWELL_STATIC "${arg_STATIC}")
  set_property(GLOBAL APPEND PROPERTY TIDEWELL_LIBRARIES ${target})
  set_property(GLOBAL APPEND PROPERTY TIDEWELL_LIBRARY_FOLDERS ${folder})
endfunction()

# tidewell_module(MODULE LIBRARY EXPORTS SOURCES…): a module that LIBRARY loads when it is needed; it exports the names in the map EXPORTS.
function(tidewell_module module library exports)
  add_library(${module} MODULE ${ARGN})
  tidewell_settings(${module})
  target_compile_definitions(${module} PRIVATE TIDEWELL_VERSION_STRING="${PROJECT_VERSION}")
  if(NOT APPLE)
    target_link_options(${module} PRIVATE "LINKER:--version-script=${exports}")
  endif()
  get_target_property(component ${library} TIDEWELL_COMPONENT)
  set_target_properties(${module} PROPERTIES LINK_DEPENDS "${exports}" TIDEWELL_COMPONENT ${component}
    LIBRARY_OUTPUT_DIRECTORY "$<TARGET_FILE_DIR:${library}>/${TIDEWELL_MODULE_FOLDER}")
  target_compile_definitions(${library} PRIVATE TIDEWELL_MODULE_FOLDER="${TIDEWELL_MODULE_FOLDER}")
  add_dependencies(${library} ${module})
  set_property(GLOBAL APPEND PROPERTY TIDEWELL_MODULES ${module})
endfunction()
