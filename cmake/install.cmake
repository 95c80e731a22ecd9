# What is installed, in the components runtime, dev, tools and doc.  Shared and
# static libraries may share a prefix: what differs has a name of its own.

include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/KivDB)
set(kind static)
if(KIVDB_SHARED)
  set(kind shared)
endif()

set(installed kivdb)
if(NOT KIVDB_ZEL_LIBRARY)
  list(APPEND installed kivdb_zel)
  install(FILES platform/zel.h platform/zel_control.h
          DESTINATION ${headers_dir} COMPONENT dev)
endif()
install(TARGETS ${installed} EXPORT KivDBTargets
        LIBRARY COMPONENT runtime NAMELINK_COMPONENT dev
        ARCHIVE COMPONENT dev)
install(DIRECTORY include/kivdb DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
        COMPONENT dev)

install(EXPORT KivDBTargets NAMESPACE KivDB:: DESTINATION ${package_dir}
        FILE KivDBTargets-${kind}.cmake COMPONENT dev)
write_basic_package_version_file(KivDBConfigVersion.cmake
                                 COMPATIBILITY SameMajorVersion)
install(FILES cmake/KivDBConfig.cmake
              ${CMAKE_CURRENT_BINARY_DIR}/KivDBConfigVersion.cmake
        DESTINATION ${package_dir} COMPONENT dev)

# For pkg-config: the folders as they lie from the file, so that the tree can be
# moved.
function(kivdb_pkgconfig name library private subdir description)
  set(root ${CMAKE_INSTALL_PREFIX})
  file(RELATIVE_PATH prefix ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${root})
  file(RELATIVE_PATH libdir ${root} ${CMAKE_INSTALL_FULL_LIBDIR})
  file(RELATIVE_PATH includedir ${root} ${CMAKE_INSTALL_FULL_INCLUDEDIR})
  configure_file(cmake/pkgconfig.pc.in ${name}.pc @ONLY)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${name}.pc
          DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT dev)
endfunction()
if(KIVDB_ZEL_LIBRARY)
  kivdb_pkgconfig(kivdb kivdb "${KIVDB_ZEL_LIBRARY} -pthread" ""
                  "${PROJECT_DESCRIPTION}")
else()
  kivdb_pkgconfig(kivdb kivdb "-lkivdb_zel -pthread" ""
                  "${PROJECT_DESCRIPTION}")
  kivdb_pkgconfig(kivdb-zel kivdb_zel "-pthread" /kivdb-platform
                  "The platform layer of KivDB: its log lines")
endif()

if(TARGET kivdb_tool)
  install(TARGETS kivdb_tool COMPONENT tools)
  install(FILES docs/man/kivdb.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1
          COMPONENT tools)
  install(FILES tools/completion.bash RENAME kivdb
          DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
          COMPONENT tools)
endif()

# As in the sources, so that the pages find each other; in the folder of a host
# that adds the sources they would be in the way of its own.
if(PROJECT_IS_TOP_LEVEL)
  install(FILES README.md CHANGELOG.md DESTINATION ${CMAKE_INSTALL_DOCDIR}
          COMPONENT doc)
  install(DIRECTORY docs examples DESTINATION ${CMAKE_INSTALL_DOCDIR}
          COMPONENT doc PATTERN man EXCLUDE)
  install(FILES bench/results.md bench/results.svg
          DESTINATION ${CMAKE_INSTALL_DOCDIR}/bench COMPONENT doc)
endif()
