# SPDX-License-Identifier: Apache-2.0
# Writes TidewellCore.spdx.json: an SBOM (SPDX 2.3) of what this build links and contains, with the versions that were found.

function(tidewell_macro variable file name)  # the value of a macro in a header
  file(STRINGS "${file}" line REGEX "^#define[ \t]+${name}[ \t]")
  string(REGEX REPLACE ".*[ \t]\"?([0-9.]+)\"?$" "\\1" value "${line}")
  set(${variable} "${value}" PARENT_SCOPE)
endfunction()
foreach(part MAJOR MINOR PATCH)
  tidewell_macro(RAPIDJSON_${part} "${RAPIDJSON_INCLUDE_DIR}/rapidjson/rapidjson.h" RAPIDJSON_${part}_VERSION)
endforeach()
set(RAPIDJSON_VERSION "${RAPIDJSON_MAJOR}.${RAPIDJSON_MINOR}.${RAPIDJSON_PATCH}")
if(CLI11_INCLUDE_DIR)
  tidewell_macro(CLI11_VERSION "${CLI11_INCLUDE_DIR}/CLI/Version.hpp" CLI11_VERSION)
endif()

# tidewell_sbom_package(NAME VERSION LICENCE COPYRIGHT): adds a package to `document`.
function(tidewell_sbom_package name version licence copyright)
  string(REPLACE "\\" "\\\\" copyright "${copyright}")
  string(REPLACE "\"" "\\\"" copyright "${copyright}")
  string(REPLACE "\n" "\\n" copyright "${copyright}")
  set(package "{\"SPDXID\": \"SPDXRef-${name}\", \"name\": \"${name}\", \"downloadLocation\": \"NOASSERTION\", \"filesAnalyzed\": false,
    \"licenseConcluded\": \"${licence}\", \"licenseDeclared\": \"${licence}\", \"copyrightText\": \"${copyright}\"}")
  if(version)
    string(JSON package SET "${package}" versionInfo "\"${version}\"")
  endif()
  string(JSON count LENGTH "${document}" packages)
  string(JSON document SET "${document}" packages ${count} "${package}")
  set(document "${document}" PARENT_SCOPE)
endfunction()

# tidewell_sbom_relationship(ELEMENT TYPE OTHER): adds a relationship to `document`.
function(tidewell_sbom_relationship element type other)
  string(JSON count LENGTH "${document}" relationships)
  string(JSON document SET "${document}" relationships ${count}
    "{\"spdxElementId\": \"SPDXRef-${element}\", \"relationshipType\": \"${type}\", \"relatedSpdxElement\": \"SPDXRef-${other}\"}")
  set(document "${document}" PARENT_SCOPE)
endfunction()

string(TIMESTAMP now "%Y-%m-%dT%H:%M:%SZ" UTC)
set(document "{\"spdxVersion\": \"SPDX-2.3\", \"dataLicense\": \"CC0-1.0\", \"SPDXID\": \"SPDXRef-DOCUMENT\",
  \"name\": \"TidewellCore-${PROJECT_VERSION}\", \"creationInfo\": {\"created\": \"${now}\", \"creators\": [\"Organization: Tidewell Core maintainers\"]},
  \"packages\": [], \"relationships\": []}")
tidewell_sbom_package(TidewellCore "${PROJECT_VERSION}" Apache-2.0 NOASSERTION)
tidewell_sbom_relationship(DOCUMENT DESCRIBES TidewellCore)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/third-party/table.json")
file(READ "${PROJECT_SOURCE_DIR}/third-party/table.json" table)
string(JSON last LENGTH "${table}")
math(EXPR last "${last} - 1")
foreach(row RANGE ${last})
  foreach(field name licence target version)
    string(JSON ${field} GET "${table}" ${row} ${field})
  endforeach()
  string(JSON linked LENGTH "${table}" ${row} libraries)
  if(NOT TARGET ${target})
    continue()
  endif()
  file(STRINGS "${PROJECT_SOURCE_DIR}/third-party/${name}.txt" copyright REGEX "^(Copyright|\\(C\\)) .*[0-9A-Z]" ENCODING UTF-8)
  list(JOIN copyright "\n" copyright)
  tidewell_sbom_package(${name} "${${version}}" "${licence}" "${copyright}")
  if(linked)
    tidewell_sbom_relationship(TidewellCore DEPENDS_ON ${name})
  else()
    tidewell_sbom_relationship(TidewellCore CONTAINS ${name})
  endif()
endforeach()
string(UUID uuid NAMESPACE 6ba7b811-9dad-11d1-80b4-00c04fd430c8 NAME "${document}" TYPE SHA1)
string(JSON document SET "${document}" documentNamespace "\"https://spdx.org/spdxdocs/TidewellCore-${PROJECT_VERSION}-${uuid}\"")
file(WRITE "${PROJECT_BINARY_DIR}/TidewellCore.spdx.json" "${document}\n")
