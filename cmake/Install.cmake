# The files that `cmake --install` installs: component `programs` for users, `development` for applications
# that embed the core.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

install(TARGETS TallyfinMCP RUNTIME COMPONENT programs)
install(FILES docs/man/TallyfinMCP.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT programs)
install(FILES CHANGELOG.md README.md docs/COMMAND.md docs/EXPORTS.md docs/FAQ.md docs/PRICES.md docs/TOOLS.md
  docs/export.schema.json DESTINATION ${CMAKE_INSTALL_DOCDIR}
  COMPONENT programs)
if(TARGET tallyfin)
  install(TARGETS tallyfin RUNTIME COMPONENT programs)
  install(FILES docs/man/tallyfin.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT programs)
  install(FILES completions/tallyfin.bash DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
    RENAME tallyfin COMPONENT programs)
  install(FILES completions/_tallyfin DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/site-functions COMPONENT programs)
endif()

install(TARGETS TallyfinPlatform TallyfinCore EXPORT TallyfinTargets
  ARCHIVE COMPONENT development
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/tallyfin)
install(DIRECTORY Sources/Platform Sources/TallyfinCore DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/tallyfin
  COMPONENT development FILES_MATCHING PATTERN *.hpp)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/Tallyfin)
install(EXPORT TallyfinTargets NAMESPACE Tallyfin:: DESTINATION ${package_dir} COMPONENT development)
configure_package_config_file(cmake/TallyfinConfig.cmake.in TallyfinConfig.cmake INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(TallyfinConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/TallyfinConfig.cmake ${CMAKE_CURRENT_BINARY_DIR}/TallyfinConfigVersion.cmake
  DESTINATION ${package_dir} COMPONENT development)
