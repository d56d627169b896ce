# Run by CPack after it has installed the package's files into its staging
# tree and before it packs them: a package without the UI bundle would
# install a window with nothing to show, so it is refused.
set(bundle "${CPACK_TEMPORARY_INSTALL_DIRECTORY}/usr/share/tessarel/Bundle/index.windows.bundle")
if(NOT EXISTS "${bundle}")
  message(FATAL_ERROR "The package has no UI bundle (${bundle}): run scripts/build-ui.sh and build "
                      "the target tessarel_package_files first.")
endif()
