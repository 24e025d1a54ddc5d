# SPDX-License-Identifier: MIT
#
# What is installed; cmake/folders.cmake says where. docs/packaging.md has a table.

install(TARGETS quillon RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(FILES data/perft.txt DESTINATION ${QUILLON_DATA_DESTINATION})

file(GLOB documents CONFIGURE_DEPENDS docs/*.md docs/*.svg docs/*.png)
install(FILES README.md CONTRIBUTING.md DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(FILES ${documents} DESTINATION ${CMAKE_INSTALL_DOCDIR}/docs)
install(DIRECTORY docs/cluster docs/connect docs/pictures DESTINATION ${CMAKE_INSTALL_DOCDIR}/docs)

# GNOME Chess has a single list of engines, so its entry can only be an example.
install(FILES packaging/gnome-chess.conf DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples)

# XBoard reads this at its start: a command that speaks XBoard's protocol.
if(NOT QUILLON_ONE_FOLDER)
  if(QUILLON_DEBIAN)
    set(QUILLON_COMMAND quillon) # found in the path, as in other packages
  else()
    set(QUILLON_COMMAND ${CMAKE_INSTALL_FULL_BINDIR}/quillon)
  endif()
  configure_file(packaging/quillon.eng.in packaging/quillon.eng @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/packaging/quillon.eng
    DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/games/plugins/xboard)
endif()

if(NOT QUILLON_DEBIAN)
  install(FILES docs/quillon.6 DESTINATION ${QUILLON_MAN_DESTINATION})
  install(FILES CHANGELOG.md LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR})
else()
  find_program(GZIP_PROGRAM gzip REQUIRED)
  # compressed SOURCE FOLDER NAME installs FOLDER/NAME.gz; -n leaves out name and time.
  function(compressed source folder name)
    set(result ${PROJECT_BINARY_DIR}/packaging/${name}.gz)
    set_property(DIRECTORY ${PROJECT_SOURCE_DIR} APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${source})
    execute_process(COMMAND ${GZIP_PROGRAM} -9nc ${PROJECT_SOURCE_DIR}/${source}
      OUTPUT_FILE ${result} COMMAND_ERROR_IS_FATAL ANY)
    install(FILES ${result} DESTINATION ${folder})
  endfunction()
  compressed(docs/quillon.6 ${QUILLON_MAN_DESTINATION} quillon.6)
  compressed(CHANGELOG.md ${CMAKE_INSTALL_DOCDIR} changelog)
  compressed(packaging/debian/changelog ${CMAKE_INSTALL_DOCDIR} changelog.Debian)
  install(FILES packaging/debian/copyright DESTINATION ${CMAKE_INSTALL_DOCDIR})
endif()
