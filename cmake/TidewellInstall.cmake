# SPDX-License-Identifier: Apache-2.0
# Installs headers, libraries, the CMake package, the pkg-config files and the pages. Programs: tools/CMakeLists.txt.
# Components: runtime (shared libraries, modules, licences), desktop (the same of Tidewell::Desktop), dev, tools, doc.

include(GNUInstallDirs)
include(CMakePackageConfigHelpers)
include(TidewellSbom)

get_property(platform_libraries GLOBAL PROPERTY TIDEWELL_LIBRARIES)
get_property(platform_folders GLOBAL PROPERTY TIDEWELL_LIBRARY_FOLDERS)
get_property(modules GLOBAL PROPERTY TIDEWELL_MODULES)
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
  install(FILES "${PROJECT_SOURCE_DIR}/${header}" DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/${folder}" COMPONENT dev)
endforeach()
install(FILES "${PROJECT_BINARY_DIR}/generated/tidewell/core/TWNetwork/TWNetworkConstants.h"
        DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/tidewell/core/TWNetwork" COMPONENT dev)

set(package_folder "${CMAKE_INSTALL_LIBDIR}/cmake/TidewellCore")
set(TIDEWELL_STATIC_DEPENDENCIES "")
set(TIDEWELL_NEEDED_BY_C Core Posix)
if(TIDEWELL_BUILD_DESKTOP AND NOT BUILD_SHARED_LIBS)
  list(APPEND TIDEWELL_NEEDED_BY_C Desktop)
endif()
# The libraries are in one folder and find each other even if the tree is moved.
foreach(library ${tidewell_libraries})
  get_target_property(component ${library} TIDEWELL_COMPONENT)
  get_target_property(name ${library} EXPORT_NAME)
  set_target_properties(${library} PROPERTIES INSTALL_RPATH "${TIDEWELL_ORIGIN}")
  install(TARGETS ${library} EXPORT ${library}Targets
          LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT ${component} NAMELINK_COMPONENT dev
          ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT dev
          INCLUDES DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}")
  install(EXPORT ${library}Targets NAMESPACE Tidewell:: DESTINATION "${package_folder}" COMPONENT dev)
  if(NOT BUILD_SHARED_LIBS)
    get_target_property(packages ${library} TIDEWELL_STATIC)
    list(JOIN packages "\" \"" packages)
    string(APPEND TIDEWELL_STATIC_DEPENDENCIES "set(_tidewell_static_${name} \"${packages}\")\n")
  endif()
endforeach()
# The libraries load the modules from this folder beside them.
foreach(module ${modules})
  get_target_property(component ${module} TIDEWELL_COMPONENT)
  set_target_properties(${module} PROPERTIES INSTALL_RPATH "${TIDEWELL_ORIGIN}/../..")
  install(TARGETS ${module} LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}/${TIDEWELL_MODULE_FOLDER}" COMPONENT ${component})
endforeach()

# The pages link to each other as in the source tree.
install(FILES "${PROJECT_SOURCE_DIR}/LICENSE" "${PROJECT_SOURCE_DIR}/THIRD-PARTY-NOTICES"
        DESTINATION "${CMAKE_INSTALL_DOCDIR}" COMPONENT runtime)
install(FILES "${PROJECT_BINARY_DIR}/TidewellCore.spdx.json" DESTINATION "${CMAKE_INSTALL_DOCDIR}" COMPONENT doc)
file(GLOB_RECURSE pages CONFIGURE_DEPENDS RELATIVE "${PROJECT_SOURCE_DIR}" "${PROJECT_SOURCE_DIR}/docs/*" "${PROJECT_SOURCE_DIR}/tidewell/README.md")
foreach(page README.md CHANGELOG.md CONTRIBUTING.md SECURITY.md ${pages})
  get_filename_component(folder "${page}" DIRECTORY)
  install(FILES "${PROJECT_SOURCE_DIR}/${page}" DESTINATION "${CMAKE_INSTALL_DOCDIR}/${folder}" COMPONENT doc)
endforeach()

if(BUILD_SHARED_LIBS)
  set(kind SHARED)
else()
  set(kind STATIC)
endif()
set(TIDEWELL_LIBRARY_PREFIX "${CMAKE_${kind}_LIBRARY_PREFIX}")
set(TIDEWELL_LIBRARY_SUFFIX "${CMAKE_${kind}_LIBRARY_SUFFIX}")
configure_package_config_file("${PROJECT_SOURCE_DIR}/cmake/TidewellCoreConfig.cmake.in"
                              "${PROJECT_BINARY_DIR}/TidewellCoreConfig.cmake"
                              INSTALL_DESTINATION "${package_folder}" PATH_VARS CMAKE_INSTALL_LIBDIR)
write_basic_package_version_file("${PROJECT_BINARY_DIR}/TidewellCoreConfigVersion.cmake" COMPATIBILITY SameMajorVersion)
install(FILES "${PROJECT_BINARY_DIR}/TidewellCoreConfig.cmake" "${PROJECT_BINARY_DIR}/TidewellCoreConfigVersion.cmake"
        DESTINATION "${package_folder}" COMPONENT dev)

if(PROJECT_IS_TOP_LEVEL)
  add_custom_target(uninstall COMMENT "Removing what the last installation of each component wrote"
    COMMAND "${CMAKE_COMMAND}" "-DTIDEWELL_BINARY_DIR=${PROJECT_BINARY_DIR}" -P "${PROJECT_SOURCE_DIR}/cmake/TidewellUninstall.cmake" VERBATIM)
endif()

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
  if(BUILD_SHARED_LIBS)
    set(PC_REQUIRES_PRIVATE "")  # pkg-config would demand their development files for --cflags, too
  else()
    # A static library lists its dependencies in Requires, so that hosts link them as shared libraries: with
    # `pkg-config --static`, the linker would need static archives of all their dependencies, too.
    list(APPEND PC_REQUIRES ${requires_private})
    string(REPLACE ";" " " PC_REQUIRES "${PC_REQUIRES}")
    set(PC_REQUIRES_PRIVATE "")
    set(PC_LIBS "-Wl,--exclude-libs,lib${library}.a -ldl -lpthread -lstdc++ -lm")
  endif()
  configure_file("${PROJECT_SOURCE_DIR}/cmake/tidewell.pc.in" "${PROJECT_BINARY_DIR}/${name}.pc" @ONLY)
  install(FILES "${PROJECT_BINARY_DIR}/${name}.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig" COMPONENT dev)
endfunction()
tidewell_pkg_config(tidewell-core TidewellCore "Tidewell Core: configuration, networking, identity and logging" ""
                    "icu-uc icu-i18n")
foreach(library ${platform_libraries})
  foreach(property PACKAGE DESCRIPTION REQUIRES PRIVATE)
    get_target_property(${property} ${library} TIDEWELL_${property})
  endforeach()
  tidewell_pkg_config("${PACKAGE}" ${library} "${DESCRIPTION}" "${REQUIRES}" "${PRIVATE}")
endforeach()
