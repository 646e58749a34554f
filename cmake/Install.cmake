# What `cmake --install` lays down: libraries, headers, the command, and how others find them.

include(CMakePackageConfigHelpers)

set(ONDREL_PACKAGE_FOLDER ${CMAKE_INSTALL_LIBDIR}/cmake/ondrel)

# Four components: runtime (the libraries), command, development (headers and what finds them) and
# documents. `cmake --install BUILD --component NAME` lays down one of them.
install(TARGETS pirsk ondrel EXPORT ondrelTargets
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)
if(ONDREL_BUILD_TOOL AND TARGET ondrel_tool)
  install(TARGETS ondrel_tool RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT command)
endif()
if(TARGET ondrel_tool AND NOT WIN32)
  # The watch service: its unit, a configuration to start from, rules for its metrics.
  configure_file(${PROJECT_SOURCE_DIR}/Tool/Watch/Files/ondrel-watch.service.in
    ${PROJECT_BINARY_DIR}/ondrel-watch.service @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/ondrel-watch.service
    DESTINATION lib/systemd/system COMPONENT command)
  install(FILES Tool/Watch/Files/watch.conf Tool/Watch/Files/ondrel-alerts.yml
    DESTINATION ${CMAKE_INSTALL_DATADIR}/ondrel COMPONENT command)
endif()
if(TARGET ondrel_manual)
  set(completions ${ONDREL_MANUAL_FOLDER}/completions)
  install(DIRECTORY ${ONDREL_MANUAL_FOLDER}/man1 ${ONDREL_MANUAL_FOLDER}/man5
    DESTINATION ${CMAKE_INSTALL_MANDIR} COMPONENT command)
  install(FILES ${completions}/ondrel
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT command)
  install(FILES ${completions}/_ondrel
    DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/site-functions COMPONENT command)
  install(FILES ${completions}/ondrel.fish
    DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d COMPONENT command)
endif()
if(TARGET ondrel_header_manual)
  install(DIRECTORY ${ONDREL_MANUAL_FOLDER}/man3 DESTINATION ${CMAKE_INSTALL_MANDIR}
    COMPONENT development)
endif()
if(ONDREL_RUNTIME_DLLS)
  install(FILES ${ONDREL_RUNTIME_DLLS} DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime)
endif()
install(DIRECTORY Include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development
  FILES_MATCHING PATTERN *.h)
if(NOT WIN32)
  # What journalctl -x explains the events with, once journalctl --update-catalog has taken it in.
  install(FILES Src/Resource/ondrel.catalog DESTINATION lib/systemd/catalog COMPONENT runtime)
endif()
install(DIRECTORY Docs/ DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT documents
  FILES_MATCHING PATTERN *.md PATTERN *.svg)
include(${CMAKE_CURRENT_LIST_DIR}/InstalledReadme.cmake)
install(FILES ${PROJECT_BINARY_DIR}/installed/README.md CHANGELOG.md SECURITY.md debian/copyright
  DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT documents)

# An installation works from wherever it is moved to: each file finds the others relative to itself.
# A package for one fixed place switches that off with CMAKE_SKIP_INSTALL_RPATH.
if(NOT WIN32)
  file(RELATIVE_PATH librariesFromCommand ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
  set_target_properties(pirsk ondrel PROPERTIES INSTALL_RPATH "$ORIGIN")
  if(TARGET ondrel_tool)
    set_target_properties(ondrel_tool PROPERTIES INSTALL_RPATH "$ORIGIN/${librariesFromCommand}")
  endif()
endif()

install(EXPORT ondrelTargets NAMESPACE Ondrel:: DESTINATION ${ONDREL_PACKAGE_FOLDER}
  COMPONENT development)
configure_package_config_file(
  ${CMAKE_CURRENT_LIST_DIR}/ondrelConfig.cmake.in
  ${PROJECT_BINARY_DIR}/ondrelConfig.cmake
  INSTALL_DESTINATION ${ONDREL_PACKAGE_FOLDER})
write_basic_package_version_file(
  ${PROJECT_BINARY_DIR}/ondrelConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES
  ${PROJECT_BINARY_DIR}/ondrelConfig.cmake
  ${PROJECT_BINARY_DIR}/ondrelConfigVersion.cmake
  DESTINATION ${ONDREL_PACKAGE_FOLDER} COMPONENT development)

if(WIN32)
  # An archive to unpack anywhere; it holds all that its programs need.
  set(CPACK_GENERATOR ZIP)
  set(CPACK_PACKAGE_FILE_NAME ${PROJECT_NAME}-${PROJECT_VERSION}-windows-x86_64)
  set(CPACK_STRIP_FILES ON)
  set(CPACK_VERBATIM_VARIABLES ON)
  include(CPack)
else()
  file(RELATIVE_PATH ONDREL_PREFIX_FROM_PC
    ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
  foreach(package ondrel pirsk)
    configure_file(${CMAKE_CURRENT_LIST_DIR}/${package}.pc.in
      ${PROJECT_BINARY_DIR}/${package}.pc @ONLY)
    install(FILES ${PROJECT_BINARY_DIR}/${package}.pc
      DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
  endforeach()
endif()
