# SPDX-License-Identifier: MIT
#
# The Debian package, made by `cpack` in a build of the preset "deb". dev/release makes archives.

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME quillon)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_VENDOR Quillon)
set(CPACK_PACKAGE_CONTACT "Velmar Dask <quillon@example.org>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "chess engine for programs that speak UCI")
set(CPACK_STRIP_FILES ON)
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/package-modes.cmake)

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 0upstream1) # sorts before any revision of Debian's own
set(CPACK_DEBIAN_PACKAGE_SECTION games)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SUGGESTS "polyglot, xboard | gnome-chess | scid | pychess")
set(CPACK_DEBIAN_PACKAGE_ENHANCES "gnome-chess, knights, pychess, scid, xboard")
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/packaging/debian/postinst)

# A chess engine is much slower without the POPCNT instruction, so the package requires x86-64-v2.
# sse4.2-support can't be installed on older processors.
set(processor_note "")
if(QUILLON_ARCH STREQUAL "x86-64-v2")
  set(CPACK_DEBIAN_PACKAGE_DEPENDS sse4.2-support)
  string(CONCAT processor_note
    "\n\nThis build needs an x86-64-v2 processor, which has SSE4.2 and POPCNT: made"
    "\nafter about 2009.")
endif()
string(CONCAT CPACK_PACKAGE_DESCRIPTION
  "Quillon plays in any chess program that speaks the Universal Chess Interface"
  "\n(UCI), and in XBoard through polyglot. It searches with up to 64 threads, has a"
  "\nhand-written evaluation and needs no files to play."
  "\n\nThe commands perft and rtest check its move generator against known counts."
  "${processor_note}")

include(CPack)
