# Makes PageFiles.cpp out of the page's template and style, and gives its path as `page_source`. A change of either
# configures anew.
set(page_folder ${CMAKE_CURRENT_LIST_DIR})
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${page_folder}/page.html ${page_folder}/page.css)
file(READ ${page_folder}/page.html page_html)
file(READ ${page_folder}/page.css page_css)

# The hash in base64, which CMake has no word for: three hexadecimal digits are two of its characters.
set(alphabet "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/")
string(SHA256 hex "${page_css}")
string(REGEX MATCHALL "..." triples "${hex}00")
set(page_css_hash "")
foreach(triple ${triples})
  math(EXPR high "0x${triple} / 64")
  math(EXPR low "0x${triple} % 64")
  foreach(digit ${high} ${low})
    string(SUBSTRING "${alphabet}" ${digit} 1 character)
    string(APPEND page_css_hash ${character})
  endforeach()
endforeach()
string(REGEX REPLACE ".$" "=" page_css_hash "${page_css_hash}")

set(page_source ${CMAKE_CURRENT_BINARY_DIR}/PageFiles.cpp)
configure_file(${page_folder}/PageFiles.cpp.in ${page_source} @ONLY)
