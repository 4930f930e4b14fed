# What every target of this project is built with.

# tidewell_settings(TARGET): warnings, sanitizers, visibility.
function(tidewell_settings target)
  target_compile_features(${target} PUBLIC cxx_std_20)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Wold-style-cast
                                           -Woverloaded-virtual -Wcast-align -Wunused)
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # gcc 12 loses track of std::string's buffers when it inlines, and warns of what is not there. The sanitizers look for the real ones.
    target_compile_options(${target} PRIVATE -Wno-maybe-uninitialized -Wno-restrict)
    # It wants members of types that only one file knows to be local to it, and takes a unit of several files for a header.
    target_compile_options(${target} PRIVATE "$<$<BOOL:$<TARGET_PROPERTY:UNITY_BUILD>>:-Wno-subobject-linkage>")
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
  if(TIDEWELL_BUILD_FUZZ)
    target_compile_options(${target} PRIVATE -fsanitize=fuzzer-no-link)  # so that fuzzers see which code they reach
  endif()
  set_target_properties(${target} PROPERTIES
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON
    POSITION_INDEPENDENT_CODE ON)
endfunction()

# tidewell_layer(NAME [DEPENDS…] [LINK…]): an object library of the .cpp files of tidewell/NAME.
function(tidewell_layer name)
  cmake_parse_arguments(arg "" "" "LINK" ${ARGN})
  file(GLOB_RECURSE sources CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/tidewell/${name}/*.cpp")
  if(NOT sources)
    return()
  endif()
  add_library(tidewell_${name} OBJECT ${sources})
  tidewell_settings(tidewell_${name})
  target_include_directories(tidewell_${name} PUBLIC
    "$<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>" "$<BUILD_INTERFACE:${PROJECT_BINARY_DIR}/generated>")
  target_link_libraries(tidewell_${name} PRIVATE ${arg_LINK})
  target_sources(TidewellCore PRIVATE $<TARGET_OBJECTS:tidewell_${name}>)
endfunction()

# tidewell_exports(TARGET): a shared library exports the names of the library and nothing else; a plug-in that a static
# library is linked into exports none of them.
function(tidewell_exports target)
  set(map "${PROJECT_SOURCE_DIR}/tidewell/exports.map")
  if(APPLE)
    return()
  endif()
  if(NOT BUILD_SHARED_LIBS)
    target_link_options(${target} INTERFACE "LINKER:--exclude-libs,lib${target}.a")
  else()
    target_link_options(${target} PRIVATE "LINKER:--version-script=${map}")
    set_target_properties(${target} PROPERTIES LINK_DEPENDS "${map}")
  endif()
endfunction()
