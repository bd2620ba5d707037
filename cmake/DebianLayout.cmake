# Runs after CPack's installation and before the packages are built. Moves and compresses files as Debian
# requires.
if(NOT CPACK_GENERATOR STREQUAL "DEB")
  return()
endif()
set(root ${CPACK_TEMPORARY_INSTALL_DIRECTORY})

set(share ${root}/programs/usr/share)
if(EXISTS ${share}/zsh)
  file(RENAME ${share}/zsh/site-functions ${share}/zsh/vendor-completions)
endif()
file(RENAME ${share}/doc/Tallyfin ${share}/doc/tallyfin)

# The changelog in Debian's format only refers to the real one.
file(TIMESTAMP ${share}/doc/tallyfin/CHANGELOG.md date "%a, %d %b %Y %H:%M:%S +0000" UTC)
foreach(doc programs/usr/share/doc/tallyfin development/usr/share/doc/libtallyfin-dev)
  file(WRITE ${root}/${doc}/changelog.Debian
"tallyfin (${CPACK_PACKAGE_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE}) unstable; urgency=medium

  * The changes are told in /usr/share/doc/tallyfin/changelog.gz.

 -- ${CPACK_PACKAGE_CONTACT}  ${date}
")
endforeach()
file(RENAME ${share}/doc/tallyfin/CHANGELOG.md ${share}/doc/tallyfin/changelog)

file(GLOB plain ${share}/man/man1/* ${share}/doc/tallyfin/changelog ${root}/*/usr/share/doc/*/changelog.Debian)
execute_process(COMMAND gzip -9n ${plain} COMMAND_ERROR_IS_FATAL ANY)
