# Writes FILE.spdx.json, the SBOM (SPDX 2.3) of the archive FILE, which contains version VERSION of PACKAGE. LIST is the
# file NOTICE.list that notice.cmake has written. SOURCE_DATE_EPOCH is the creation time of the SBOM.
cmake_policy(VERSION 3.25)
cmake_path(GET FILE FILENAME file)
file(SHA256 ${FILE} sha256)
string(TIMESTAMP created "%Y-%m-%dT%H:%M:%SZ" UTC)

# add_package(ID NAME VERSION LICENCE [MEMBER]...): appends a package; each MEMBER is a further JSON member.
set(packages)
function(add_package id name version licence)
  string(JOIN ",\n      " members "\"SPDXID\": \"SPDXRef-${id}\"" "\"name\": \"${name}\"" "\"versionInfo\": \"${version}\""
    "\"downloadLocation\": \"NOASSERTION\"" "\"filesAnalyzed\": false" "\"licenseConcluded\": \"NOASSERTION\""
    "\"licenseDeclared\": \"${licence}\"" "\"copyrightText\": \"NOASSERTION\"" ${ARGN})
  set(packages ${packages} "{\n      ${members}\n    }" PARENT_SCOPE)
endfunction()
# add_relation(FROM TYPE TO): appends a relation between two ids.
set(relations)
function(add_relation from type to)
  set(relations ${relations} "{\"spdxElementId\": \"SPDXRef-${from}\", \"relationshipType\": \"${type}\", \
\"relatedSpdxElement\": \"SPDXRef-${to}\"}" PARENT_SCOPE)
endfunction()

add_package(package ${PACKAGE} ${VERSION} NOASSERTION "\"packageFileName\": \"${file}\""
  "\"checksums\": [{\"algorithm\": \"SHA256\", \"checksumValue\": \"${sha256}\"}]")
add_relation(DOCUMENT DESCRIBES package)
file(STRINGS ${LIST} lines)
foreach(line ${lines})
  string(REPLACE "|" ";" words "${line}")
  list(GET words 0 name)
  string(REGEX REPLACE "[^a-zA-Z0-9.]" "-" id linked-${name})
  list(INSERT words 0 ${id})
  add_package(${words})
  add_relation(package STATIC_LINK ${id})
endforeach()

list(JOIN packages ",\n    " packages)
list(JOIN relations ",\n    " relations)
file(WRITE ${FILE}.spdx.json "{
  \"spdxVersion\": \"SPDX-2.3\",
  \"dataLicense\": \"CC0-1.0\",
  \"SPDXID\": \"SPDXRef-DOCUMENT\",
  \"name\": \"${file}\",
  \"documentNamespace\": \"https://norvane.invalid/spdx/${file}-${sha256}\",
  \"creationInfo\": {\"created\": \"${created}\", \"creators\": [\"Tool: qxagent-manage-sbom-${VERSION}\"]},
  \"packages\": [
    ${packages}
  ],
  \"relationships\": [
    ${relations}
  ]
}
")
