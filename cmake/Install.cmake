# What `cmake --install` lays down: libraries, headers, the command, and how others find them.

include(CMakePackageConfigHelpers)

set(ONDREL_PACKAGE_FOLDER ${CMAKE_INSTALL_LIBDIR}/cmake/ondrel)

install(TARGETS pirsk ondrel EXPORT ondrelTargets
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
if(ONDREL_BUILD_TOOL AND TARGET ondrel_tool)
  install(TARGETS ondrel_tool RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()
if(ONDREL_RUNTIME_DLLS)
  install(FILES ${ONDREL_RUNTIME_DLLS} DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()
install(DIRECTORY Include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} FILES_MATCHING PATTERN *.h)

install(EXPORT ondrelTargets NAMESPACE Ondrel:: DESTINATION ${ONDREL_PACKAGE_FOLDER})
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
  DESTINATION ${ONDREL_PACKAGE_FOLDER})

if(WIN32)
  # An archive to unpack anywhere; it holds all that its programs need.
  set(CPACK_GENERATOR ZIP)
  set(CPACK_PACKAGE_FILE_NAME ${PROJECT_NAME}-${PROJECT_VERSION}-windows-x86_64)
  set(CPACK_STRIP_FILES ON)
  set(CPACK_VERBATIM_VARIABLES ON)
  include(CPack)
else()
  foreach(package ondrel pirsk)
    configure_file(${CMAKE_CURRENT_LIST_DIR}/${package}.pc.in
      ${PROJECT_BINARY_DIR}/${package}.pc @ONLY)
    install(FILES ${PROJECT_BINARY_DIR}/${package}.pc
      DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
  endforeach()
endif()
