# SPDX-License-Identifier: Apache-2.0
# Installs headers, libraries, the CMake package and the pkg-config files.

include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

get_property(platform_libraries GLOBAL PROPERTY TIDEWELL_LIBRARIES)
get_property(platform_folders GLOBAL PROPERTY TIDEWELL_LIBRARY_FOLDERS)
get_property(modules GLOBAL PROPERTY TIDEWELL_MODULES)
get_property(TIDEWELL_STATIC_DEPENDENCIES GLOBAL PROPERTY TIDEWELL_STATIC_DEPENDENCIES)
set(tidewell_libraries TidewellCore ${platform_libraries})

# Every header of the libraries that are built is public, except those below a folder named `internal`.
file(GLOB_RECURSE headers CONFIGURE_DEPENDS RELATIVE "${PROJECT_SOURCE_DIR}" "${PROJECT_SOURCE_DIR}/tidewell/*.h")
file(GLOB lists CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/tidewell/*/CMakeLists.txt")
foreach(list ${lists})
  get_filename_component(folder "${list}" DIRECTORY)
  get_filename_component(folder "${folder}" NAME)
  if(NOT folder IN_LIST platform_folders)
    list(FILTER headers EXCLUDE REGEX "^tidewell/${folder}/")
  endif()
endforeach()
list(FILTER headers EXCLUDE REGEX "/internal/")
foreach(header ${headers})
  get_filename_component(folder "${header}" DIRECTORY)
  install(FILES "${PROJECT_SOURCE_DIR}/${header}" DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/${folder}")
endforeach()
install(FILES "${PROJECT_BINARY_DIR}/generated/tidewell/core/TWNetwork/TWNetworkConstants.h"
        DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/tidewell/core/TWNetwork")

# The libraries are in one folder and find each other even if the tree is moved.
set_target_properties(${tidewell_libraries} PROPERTIES INSTALL_RPATH "\$ORIGIN")
install(TARGETS ${tidewell_libraries} EXPORT TidewellCoreTargets
        LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}"
        ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}"
        INCLUDES DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}")
# The libraries load modules from their own folder.
foreach(module ${modules})
  set_target_properties(${module} PROPERTIES INSTALL_RPATH "\$ORIGIN")
  install(TARGETS ${module} LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}")
endforeach()

install(FILES "${PROJECT_SOURCE_DIR}/THIRD-PARTY-NOTICES" "${PROJECT_SOURCE_DIR}/CHANGELOG.md"
        DESTINATION "${CMAKE_INSTALL_DOCDIR}")

set(package_folder "${CMAKE_INSTALL_LIBDIR}/cmake/TidewellCore")
install(EXPORT TidewellCoreTargets NAMESPACE Tidewell:: DESTINATION "${package_folder}")
configure_package_config_file("${PROJECT_SOURCE_DIR}/cmake/TidewellCoreConfig.cmake.in"
                              "${PROJECT_BINARY_DIR}/TidewellCoreConfig.cmake"
                              INSTALL_DESTINATION "${package_folder}")
write_basic_package_version_file("${PROJECT_BINARY_DIR}/TidewellCoreConfigVersion.cmake" COMPATIBILITY SameMajorVersion)
install(FILES "${PROJECT_BINARY_DIR}/TidewellCoreConfig.cmake" "${PROJECT_BINARY_DIR}/TidewellCoreConfigVersion.cmake"
        DESTINATION "${package_folder}")

# The pkg-config files derive the prefix from their own location, so the tree can be moved.
if(IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}")
  set(pc_prefix "${CMAKE_INSTALL_PREFIX}")
  set(pc_libdir "${CMAKE_INSTALL_LIBDIR}")
else()
  file(RELATIVE_PATH to_prefix "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
  set(pc_prefix "\${pcfiledir}/${to_prefix}")
  set(pc_libdir "\${prefix}/${CMAKE_INSTALL_LIBDIR}")
endif()
if(IS_ABSOLUTE "${CMAKE_INSTALL_INCLUDEDIR}")
  set(pc_includedir "${CMAKE_INSTALL_INCLUDEDIR}")
else()
  set(pc_includedir "\${prefix}/${CMAKE_INSTALL_INCLUDEDIR}")
endif()
function(tidewell_pkg_config name library description requires requires_private)
  set(PC_NAME "${name}")
  set(PC_LIBRARY "${library}")
  set(PC_DESCRIPTION "${description}")
  set(PC_REQUIRES "${requires}")
  set(PC_REQUIRES_PRIVATE "${requires_private}")
  set(PC_LIBS "")
  if(NOT BUILD_SHARED_LIBS)
    # A static library lists its dependencies in Requires, so that hosts link them as shared libraries: with
    # `pkg-config --static`, the linker would need static archives of all their dependencies, too.
    list(APPEND PC_REQUIRES ${requires_private})
    string(REPLACE ";" " " PC_REQUIRES "${PC_REQUIRES}")
    set(PC_REQUIRES_PRIVATE "")
    set(PC_LIBS "-Wl,--exclude-libs,lib${library}.a -ldl -lpthread -lstdc++")
  endif()
  configure_file("${PROJECT_SOURCE_DIR}/cmake/tidewell.pc.in" "${PROJECT_BINARY_DIR}/${name}.pc" @ONLY)
  install(FILES "${PROJECT_BINARY_DIR}/${name}.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
endfunction()
tidewell_pkg_config(tidewell-core TidewellCore "Tidewell Core: configuration, networking, identity and logging" ""
                    "icu-uc icu-i18n libcrypto")
foreach(library ${platform_libraries})
  foreach(property PACKAGE DESCRIPTION REQUIRES PRIVATE)
    get_target_property(${property} ${library} TIDEWELL_${property})
  endforeach()
  tidewell_pkg_config("${PACKAGE}" ${library} "${DESCRIPTION}" "${REQUIRES}" "${PRIVATE}")
endforeach()
