# `cpack` in the build folder makes the package; Debian 12 and Ubuntu 24.04 are its targets.

set(package_release 1)
set(maintainer "The Kestrel developers <developers@kestrel.example>")

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME kestrel)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT ${maintainer})
set(CPACK_PACKAGE_HOMEPAGE_URL ${KESTREL_HOMEPAGE})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY ${summary})
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION
    "Kestrel finds the hard cuts and fades of a video, lets you review, retime,
disable and add segments, and then writes each segment to a file of its own
with ffmpeg, several at a time. Its window speaks Chinese; two commands, one of
which checks the installation, need no display. kestrel-batch does the same for
many videos without a window, and lets other programs spread the work.")
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE
                                                WORLD_READ WORLD_EXECUTE)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE ${package_release})
set(CPACK_DEBIAN_PACKAGE_SECTION video)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
# The libraries and their versions are read from the executable; these are what it runs and what Qt loads.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_DEPENDS "ffmpeg, python3, qt6-translations-l10n")
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "fonts-noto-cjk | fonts-wqy-microhei, qt6-wayland")
set(CPACK_DEBIAN_PACKAGE_SUGGESTS "parallel")
# The detector is byte-compiled by the Python that is there, not by the one that the package was made with.
set(CPACK_INSTALL_CMAKE_PROJECTS "${PROJECT_BINARY_DIR};${PROJECT_NAME};Unspecified;/")
set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA "${CMAKE_CURRENT_LIST_DIR}/postinst;${CMAKE_CURRENT_LIST_DIR}/prerm")
install(PROGRAMS linux/rtupdate DESTINATION ${CMAKE_INSTALL_DATADIR}/python3/runtime.d RENAME kestrel.rtupdate)

file(READ ${PROJECT_SOURCE_DIR}/LICENSE licence)
string(REGEX REPLACE "^MIT License\n\nCopyright[^\n]*\n\n" "" licence "${licence}")
string(STRIP "${licence}" licence)
string(REPLACE "\n\n" "\n.\n" licence "${licence}")
string(REPLACE "\n" "\n " licence "${licence}")
configure_file(linux/copyright.in copyright @ONLY)

execute_process(COMMAND date -u -R -d ${release_date} OUTPUT_VARIABLE release_time OUTPUT_STRIP_TRAILING_WHITESPACE
                                                      COMMAND_ERROR_IS_FATAL ANY)
configure_file(linux/changelog.Debian.in changelog.Debian @ONLY)
configure_file(${PROJECT_SOURCE_DIR}/CHANGELOG.md changelog COPYONLY)

set(documents ${CMAKE_INSTALL_DATADIR}/doc/kestrel)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/copyright DESTINATION ${documents})
install_compressed(${CMAKE_CURRENT_BINARY_DIR}/changelog ${documents})
install_compressed(${CMAKE_CURRENT_BINARY_DIR}/changelog.Debian ${documents})

include(CPack)
