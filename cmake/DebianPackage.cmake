# The Debian package: cpack -G DEB in the build directory makes
# ovrell_<version>_<architecture>.deb of what cmake --install installs, with
# the changes Debian asks for made by DebianStaging.cmake.

# Placeholders until the project has a public address: set both when
# configuring a package for publication.
set(OVRELL_MAINTAINER "the ovrell developers <ovrell@example.org>"
  CACHE STRING "Maintainer field of the Debian package")
set(OVRELL_HOMEPAGE "https://example.org/ovrell"
  CACHE STRING "Homepage field of the Debian package")

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME ovrell)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "${OVRELL_MAINTAINER}")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY
  "find the bits of binary files that go with an attribute")
set(CPACK_PACKAGE_DESCRIPTION "\
ovrell compares a set of binary files of equal length bit by bit. A
project file names the files and gives each file's value of one or more
attributes (the device model or the sales region of a firmware dump,
say). For each attribute, ovrell prints the bit mask of the positions
where all files of each value group agree, optionally without the bits
that are the same in all files, and the shortest stretches of bits that
tell the groups apart. The files are read in blocks within a memory
limit, so they may be larger than memory.
.
ovrell-report says which bytes encode each attribute and what the bytes
that change between files are: checksums with their ranges and
parameters, each file's own values, counters, times, text and random
bytes; as a table, JSON, a picture and a Kaitai Struct description.
ovrell-patch turns a file into another group's variant and recomputes
every checksum found.")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_HOMEPAGE "${OVRELL_HOMEPAGE}")
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_CURRENT_LIST_DIR}/DebianStaging.cmake)
include(CPack)
