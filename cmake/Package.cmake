# Debian packages: tallyfin with the programs, libtallyfin-dev with the core. A distributor sets the contact:
# cpack -D CPACK_PACKAGE_CONTACT="Name <address>".
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_CONTACT "Tallyfin developers <tallyfin@localhost>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL programs development)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/DebianLayout.cmake)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)

set(CPACK_DEBIAN_PROGRAMS_PACKAGE_NAME tallyfin)
set(CPACK_DEBIAN_PROGRAMS_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PROGRAMS_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PROGRAMS_PACKAGE_DEPENDS tzdata)
set(CPACK_DEBIAN_PROGRAMS_DESCRIPTION
"Tallyfin reads the transcripts that Claude Code leaves on disk, counts every
request once and prices it at list API prices: by day, project, model,
session and agent. What cannot be computed is written as unknown.
.
TallyfinMCP is a local server of the Model Context Protocol, which a client
starts; tallyfin makes reports and tables for people and scripts. Neither
opens a network connection.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libtallyfin-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "libabsl-dev, libsimdjson-dev, libutf8proc-dev, pkg-config")
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION
"To embed the core: headers and static libraries that read the transcripts of
Claude Code, price what they hold and make reports, with a package for CMake:
find_package(Tallyfin) gives the target Tallyfin::Core.")

include(CPack)
