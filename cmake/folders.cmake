# SPDX-License-Identifier: MIT
#
# Where installed files go: GNU's folders, Debian's through the usual variables (see the preset
# "deb"), or a single folder on Windows and in archives, which can be unpacked anywhere.

if(WIN32)
  set(one_folder ON)
else()
  set(one_folder OFF)
endif()
option(QUILLON_ONE_FOLDER "Install into one folder" ${one_folder})
option(QUILLON_DEBIAN "Install what Debian's policy asks for: copyright, compressed changelogs" OFF)

if(QUILLON_ONE_FOLDER)
  set(CMAKE_INSTALL_BINDIR .)
  set(CMAKE_INSTALL_DATADIR .)
  set(CMAKE_INSTALL_DOCDIR .)
endif()
include(GNUInstallDirs)

if(QUILLON_ONE_FOLDER)
  set(QUILLON_DATA_DESTINATION .)
  set(QUILLON_MAN_DESTINATION .)
else()
  set(QUILLON_DATA_DESTINATION ${CMAKE_INSTALL_DATADIR}/quillon)
  set(QUILLON_MAN_DESTINATION ${CMAKE_INSTALL_MANDIR}/man6)
endif()
