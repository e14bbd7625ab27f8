# Writes the copyright file of a package: its own lines, then the licences of what is linked
# in, as the packages that it comes from state them.
#   cmake -DOUTPUT=FILE "-DLICENCES=NAME=FILE;..." -P copyright.cmake
set(text "ORLACl\n\nCopyright 2026 the ORLACl authors. All rights reserved.\n")
set(rule "----------------------------------------------------------------------")
foreach(licence IN LISTS LICENCES)
  string(REGEX MATCH "^([^=]+)=(.+)$" licence "${licence}")
  set(name "${CMAKE_MATCH_1}")
  file(READ "${CMAKE_MATCH_2}" terms)
  string(APPEND text "\n${rule}\nLinked in: ${name}\n${rule}\n\n${terms}")
endforeach()
file(WRITE "${OUTPUT}" "${text}")
