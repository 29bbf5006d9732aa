# What is installed, and the Debian packages that CPack makes of it. Each install rule names its component:
#   vntfix     the command line tool: its manual, completions and documents (share/doc/vntfix), the user guide
#              among them, since a server has no window
#   vntfixdb   the window, and what the desktop shows of it (share/doc/vntfixdb)
# A component is a package of the same name.

set(VNT_DOC_OF_vntfix ${CMAKE_INSTALL_DATADIR}/doc/vntfix)
set(VNT_DOC_OF_vntfixdb ${CMAKE_INSTALL_DATADIR}/doc/vntfixdb)

set(VNT_MAINTAINER "VNTFixdb maintainers <maintainers@vntfixdb.invalid>" CACHE STRING
  "Who answers for the packages: name and mail address")

install(FILES packaging/debian/README.md DESTINATION ${VNT_DOC_OF_vntfix} COMPONENT vntfix)
install(FILES docs/server.md docs/ingres.md docs/diff.schema.json docs/run-report.schema.json
  DESTINATION ${VNT_DOC_OF_vntfix}/docs COMPONENT vntfix)

# Where each shell looks for what packages bring along.
install(FILES packaging/completions/vntfix.bash RENAME vntfix
  DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT vntfix)
install(FILES packaging/completions/_vntfix
  DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions COMPONENT vntfix)
install(FILES packaging/completions/vntfix.fish
  DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d COMPONENT vntfix)

# What the desktop shows of the window.
set(desktop ${PROJECT_SOURCE_DIR}/packaging/desktop)
set(VNT_METAINFO ${PROJECT_BINARY_DIR}/packaging/invalid.vntfixdb.vntfixdb.metainfo.xml)
configure_file(${desktop}/vntfixdb.metainfo.xml.in ${VNT_METAINFO} @ONLY)
if(NOT WIN32)
  install(PROGRAMS ${desktop}/vntfixdb-open DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT vntfixdb)
  install(FILES ${desktop}/vntfixdb.desktop
    DESTINATION ${CMAKE_INSTALL_DATADIR}/applications COMPONENT vntfixdb)
  install(FILES ${desktop}/vntfixdb.xml DESTINATION ${CMAKE_INSTALL_DATADIR}/mime/packages COMPONENT vntfixdb)
  install(FILES ${VNT_METAINFO} DESTINATION ${CMAKE_INSTALL_DATADIR}/metainfo COMPONENT vntfixdb)
  set(icons ${CMAKE_INSTALL_DATADIR}/icons/hicolor)
  install(FILES ${desktop}/icons/vntfixdb.svg DESTINATION ${icons}/scalable/apps COMPONENT vntfixdb)
  foreach(size 16 24 32 48 64 128 256)
    install(FILES ${desktop}/icons/${size}.png RENAME vntfixdb.png
      DESTINATION ${icons}/${size}x${size}/apps COMPONENT vntfixdb)
  endforeach()
endif()

# What Debian wants beside each program: the changes, and the terms of the programs and of the libraries that are
# nothing but headers, as their own packages have them.
if(NOT WIN32)
  set(papers ${PROJECT_BINARY_DIR}/packaging)
  execute_process(COMMAND gzip -9nc ${PROJECT_SOURCE_DIR}/packaging/debian/changelog
    OUTPUT_FILE ${papers}/changelog.gz COMMAND_ERROR_IS_FATAL ANY)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/packaging/debian/copyright)
  file(READ ${PROJECT_SOURCE_DIR}/packaging/debian/copyright terms)
  foreach(library libcli11-dev nlohmann-json3-dev libutfcpp-dev)
    set(terms_of_library /usr/share/doc/${library}/copyright)
    if(EXISTS ${terms_of_library})
      file(READ ${terms_of_library} text)
      string(APPEND terms "\n==== ${library} ====\n\n${text}")
    endif()
  endforeach()
  file(WRITE ${papers}/copyright "${terms}")
  foreach(component vntfix vntfixdb)
    install(FILES ${papers}/changelog.gz ${papers}/copyright
      DESTINATION ${VNT_DOC_OF_${component}} COMPONENT ${component})
  endforeach()
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME vntfixdb)
set(CPACK_PACKAGE_CONTACT "${VNT_MAINTAINER}")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_COMPONENTS_ALL vntfix vntfixdb)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SECTION database)

set(CPACK_DEBIAN_VNTFIX_PACKAGE_NAME vntfix)
set(CPACK_COMPONENT_VNTFIX_DESCRIPTION
"repair databases of satellite network notices on the command line
vntfix repairs and normalises databases of satellite network notices in
Access files (.mdb and .accdb): forty named fixes, run in a fixed order. It
also runs Access SQL, exports tables, compares two databases and verifies
every invariant of a file.

It reads and writes the files with an engine of its own; no Access, server
or driver is needed.")
set(CPACK_DEBIAN_VNTFIX_PACKAGE_RECOMMENDS "bash-completion")

set(CPACK_DEBIAN_VNTFIXDB_PACKAGE_NAME vntfixdb)
set(CPACK_COMPONENT_VNTFIXDB_DESCRIPTION
"repair databases of satellite network notices in a window
VNTFixdb repairs and normalises databases of satellite network notices in
Access files (.mdb and .accdb): forty named fixes to tick, a preview of what
they would change, a backup before they run, and a report after it.

It reads and writes the files with an engine of its own; no Access, server
or driver is needed.")
set(CPACK_DEBIAN_VNTFIXDB_PACKAGE_RECOMMENDS "vntfix, xdg-utils")

include(CPack)
