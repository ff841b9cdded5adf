# Assembles the report's page: inserts style sheet, scripts and the charting library where page.html names them.
#
#   cmake -D PARTS=DIR -D DYGRAPHS=DIR -D LICENCE=FILE -D PAGE=FILE -P assemblePage.cmake
# SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
cmake_policy(VERSION 3.25)


file(READ "${PARTS}/page.html" page)
file(READ "${PARTS}/page.css" style)
file(READ "${DYGRAPHS}/dygraph.min.js" library)
file(READ "${LICENCE}" licence)

# Drops the reference to the source map, which the page does not ship: a browser's tools would request it.
string(REGEX REPLACE "\n//# sourceMappingURL=[^\n]*" "" library "${library}")
string(REPLACE "&" "&amp;" licence "${licence}")
string(REPLACE "<" "&lt;" licence "${licence}")
string(REPLACE ">" "&gt;" licence "${licence}")

set(scripts "")
foreach(part format model palette view density difference steering lanes hover interaction summary alignments timeline main)
  file(READ "${PARTS}/${part}.js" script)
  string(APPEND scripts "${script}\n")
endforeach()

foreach(closer "</script" "</style")
  string(FIND "${library}${scripts}${style}" "${closer}" position)
  if(NOT position EQUAL -1)
    message(FATAL_ERROR "A part of the page holds ${closer}, which would end its element.")
  endif()
endforeach()

string(REPLACE "@STYLE@" "${style}" page "${page}")
string(REPLACE "@LICENCE@" "${licence}" page "${page}")
string(REPLACE "@DYGRAPHS@" "${library}" page "${page}")
string(REPLACE "@SCRIPTS@" "${scripts}" page "${page}")
file(WRITE "${PAGE}" "${page}")
