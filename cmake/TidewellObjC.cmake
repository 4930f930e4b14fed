# SPDX-License-Identifier: Apache-2.0
# Objective-C with GNUstep Base, for the facade in examples/objc and its tests.
if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  message(FATAL_ERROR "TIDEWELL_BUILD_OBJC needs gcc: the runtime library is gcc's")
endif()
tidewell_enable_c()  # first: C and OBJC both claim *.m, and the language enabled last gets them
find_program(CMAKE_OBJC_COMPILER gcc)
set(CMAKE_OBJCXX_COMPILER "${CMAKE_CXX_COMPILER}")
enable_language(OBJC)
enable_language(OBJCXX)
find_program(GNUSTEP_CONFIG gnustep-config)
if(NOT GNUSTEP_CONFIG)
  message(FATAL_ERROR "TIDEWELL_BUILD_OBJC needs gobjc++ and libgnustep-base-dev (scripts/setup objc installs them)")
endif()
execute_process(COMMAND ${GNUSTEP_CONFIG} --objc-flags OUTPUT_VARIABLE flags OUTPUT_STRIP_TRAILING_WHITESPACE)
execute_process(COMMAND ${GNUSTEP_CONFIG} --base-libs OUTPUT_VARIABLE libraries OUTPUT_STRIP_TRAILING_WHITESPACE)
separate_arguments(flags UNIX_COMMAND "${flags}")
separate_arguments(libraries UNIX_COMMAND "${libraries}")
list(FILTER flags EXCLUDE REGEX "^-(MMD|MP|g|O2|Wall|fPIC|I\\.)$")
list(TRANSFORM flags REPLACE "^-I" "-isystem")  # GNUstep's headers have warnings of their own

add_library(tidewell_gnustep INTERFACE)
target_compile_options(tidewell_gnustep INTERFACE "$<$<COMPILE_LANGUAGE:OBJC,OBJCXX>:${flags}>")
target_link_libraries(tidewell_gnustep INTERFACE ${libraries})

# tidewell_objc_settings(TARGET): what tidewell_settings does for C++.
function(tidewell_objc_settings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wshadow -Wno-unused-parameter
                                           -Wno-unused-value)  # gcc mistakes captures of lambdas for messages
  if(TIDEWELL_WARNINGS_AS_ERRORS)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
  # CMake 3.25 knows neither standards nor run paths of Objective-C for gcc.
  target_compile_options(${target} PRIVATE $<$<COMPILE_LANGUAGE:OBJC>:-std=gnu11> $<$<COMPILE_LANGUAGE:OBJCXX>:-std=c++20>)
  set_target_properties(${target} PROPERTIES POSITION_INDEPENDENT_CODE ON LINKER_LANGUAGE CXX)
  target_link_libraries(${target} PRIVATE tidewell_gnustep)
endfunction()
