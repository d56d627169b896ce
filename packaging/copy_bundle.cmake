# Copies the reference UI bundle into the build tree's package layout when it
# has been built (scripts/build-ui.sh); without it the build still succeeds
# and the app can be given a bundle with --bundle.
#   cmake -DSOURCE=<file> -DDESTINATION=<file> -P copy_bundle.cmake
if(EXISTS "${SOURCE}")
  file(COPY_FILE "${SOURCE}" "${DESTINATION}" ONLY_IF_DIFFERENT)
endif()
