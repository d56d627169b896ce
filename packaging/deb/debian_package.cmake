# The Debian package, made by CPack's DEB generator from the normal build
# tree and the same install rules as `cmake --install` (docs/packaging.md
# says why this and not debhelper). Included from packaging/CMakeLists.txt.
#
#   cpack --config build/CPackConfig.cmake -B DIR    DIR/tessarel_<version>_amd64.deb
#
# `make deb` (scripts/deb.sh) builds what the package holds first: the target
# tessarel_package_files.

# What Debian wants beside the program: the copyright file, the changelog and
# a manual page, compressed the way Debian does it (gzip -9, no name or time
# stamp, so that the package is reproducible).
find_program(GZIP gzip REQUIRED)
set(doc_build ${share}/doc/tessarel)
set(man_build ${share}/man/man1)
configure_file(${CMAKE_CURRENT_LIST_DIR}/changelog.in ${CMAKE_CURRENT_BINARY_DIR}/changelog @ONLY)
configure_file(${CMAKE_CURRENT_LIST_DIR}/copyright ${doc_build}/copyright COPYONLY)
add_custom_command(
  OUTPUT ${doc_build}/changelog.gz
  COMMAND ${CMAKE_COMMAND} -E copy ${CMAKE_CURRENT_BINARY_DIR}/changelog ${doc_build}/changelog
  COMMAND ${GZIP} -9nf ${doc_build}/changelog
  DEPENDS ${CMAKE_CURRENT_BINARY_DIR}/changelog
  VERBATIM)
add_custom_command(
  OUTPUT ${man_build}/tessarel.1.gz
  COMMAND ${CMAKE_COMMAND} -E copy ${CMAKE_CURRENT_SOURCE_DIR}/tessarel.1 ${man_build}/tessarel.1
  COMMAND ${GZIP} -9nf ${man_build}/tessarel.1
  DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/tessarel.1
  VERBATIM)
add_custom_target(tessarel_package_docs ALL
  DEPENDS ${doc_build}/changelog.gz ${man_build}/tessarel.1.gz)
install(FILES ${doc_build}/copyright ${doc_build}/changelog.gz DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(FILES ${man_build}/tessarel.1.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)

# Everything the package holds, built; cpack itself builds nothing.
add_custom_target(tessarel_package_files)
add_dependencies(tessarel_package_files tessarel_bundle tessarel_package_docs)
foreach(program tessarel tessarel-companion)
  if(TARGET ${program})
    add_dependencies(tessarel_package_files ${program})
  endif()
endforeach()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME tessarel)
set(CPACK_PACKAGE_VENDOR Tessarel)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "Tessarel <linux@tessarel.io>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "configure Tessarel programmable macro keyboards")
# The long description, wrapped for 80-column terminals as Debian asks.
string(JOIN "\n" CPACK_PACKAGE_DESCRIPTION
  "Tessarel sets up programmable macro keyboards: give every key of every"
  "layer its own action, colour and light, bind keys by pressing them, and"
  "keep the keyboard's firmware up to date."
  ""
  "The package holds the window (a GTK 4 application showing its interface"
  "in a WebKitGTK web view), the keyboard service that the window starts and"
  "talks to over a private D-Bus connection, and the interface itself.")
# Installed as into /usr, with DESTDIR pointing at CPack's staging tree, so
# that the desktop entry written at install time names /usr/bin/tessarel.
set(CPACK_SET_DESTDIR ON)
set(CPACK_INSTALL_PREFIX /usr)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
# Depends from the libraries the two programs load, by dpkg-shlibdeps.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
# Refuses to make a package without the UI bundle, which `cmake --install`
# leaves out when it has not been built.
set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_CURRENT_LIST_DIR}/check_staged_package.cmake)
include(CPack)
