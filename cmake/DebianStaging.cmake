# Run by CPack between the staging install and the making of the .deb: puts
# the documents where Debian wants them. The man pages are compressed with
# gzip -9n, CHANGELOG.md becomes a Debian changelog (changelog.gz, made by
# debian_changelog.awk), and LICENSE becomes the copyright file in Debian's
# machine-readable format.

set(usr "${CPACK_TEMPORARY_DIRECTORY}${CPACK_PACKAGING_INSTALL_PREFIX}")
set(doc "${usr}/share/doc/${CPACK_PACKAGE_NAME}")

function(gzip_for_debian file)
  execute_process(COMMAND gzip -9n "${file}" COMMAND_ERROR_IS_FATAL ANY)
endfunction()

file(GLOB man_pages "${usr}/share/man/man*/*")
foreach(page IN LISTS man_pages)
  gzip_for_debian("${page}")
endforeach()

execute_process(COMMAND awk -v package=${CPACK_PACKAGE_NAME}
    -v "maintainer=${CPACK_PACKAGE_CONTACT}" -f ${CMAKE_CURRENT_LIST_DIR}/debian_changelog.awk
  INPUT_FILE "${doc}/CHANGELOG.md" OUTPUT_FILE "${doc}/changelog" COMMAND_ERROR_IS_FATAL ANY)
file(REMOVE "${doc}/CHANGELOG.md")
gzip_for_debian("${doc}/changelog")

# The licence's copyright line, and its text indented by one blank, with
# " ." for its empty lines.
file(READ "${doc}/LICENSE" license)
file(REMOVE "${doc}/LICENSE")
string(REGEX MATCH "Copyright \\(c\\) ([^\n]*)" copyright "${license}")
set(copyright "${CMAKE_MATCH_1}")
string(REGEX REPLACE "^MIT License\n\n[^\n]*\n\n" "" license "${license}")
string(REGEX REPLACE "\n+$" "" license "${license}")
string(REPLACE "\n\n" "\n.\n" license "${license}")
string(REPLACE "\n" "\n " license " ${license}")
file(WRITE "${doc}/copyright" "\
Format: https://www.debian.org/doc/packaging-manuals/copyright-format/1.0/
Upstream-Name: ${CPACK_PACKAGE_NAME}
Source: ${CPACK_DEBIAN_PACKAGE_HOMEPAGE}

Files: *
Copyright: ${copyright}
License: Expat
${license}
")
