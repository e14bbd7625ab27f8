# Writes the file "copyright" of a package: the copyright of this project, then the license of each
# piece of code by others that the package contains.
#   cmake -DOUTPUT=FILE "-DLICENSES=NAME=FILE;..." -P copyright.cmake
set(text "ORLACl\n\nCopyright 2026 the ORLACl authors. All rights reserved.\n")
set(rule "----------------------------------------------------------------------")
foreach(license IN LISTS LICENSES)
  string(REGEX MATCH "^([^=]+)=(.+)$" license "${license}")
  set(name "${CMAKE_MATCH_1}")
  file(READ "${CMAKE_MATCH_2}" terms)
  string(APPEND text "\n${rule}\nLinked in: ${name}\n${rule}\n\n${terms}")
endforeach()
file(WRITE "${OUTPUT}" "${text}")
