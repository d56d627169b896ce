# Writes the desktop entry at install time, when the final prefix is known
# (cmake --install --prefix may differ from the configured one), so that its
# Exec line names the installed binary even where the prefix is not on PATH.
#   install(CODE "set(TEMPLATE ...) include(install_desktop_entry.cmake)")
set(TESSAREL_EXEC "${CMAKE_INSTALL_PREFIX}/${BINDIR}/tessarel")
set(destination "$ENV{DESTDIR}${CMAKE_INSTALL_PREFIX}/${DATADIR}/applications")
file(MAKE_DIRECTORY "${destination}")
configure_file("${TEMPLATE}" "${destination}/io.tessarel.Host.desktop" @ONLY)
message(STATUS "Installing: ${destination}/io.tessarel.Host.desktop")
