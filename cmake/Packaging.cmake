# The Debian package of everything `cmake --install` installs: in the build folder,
# `cpack -G DEB` writes vespra-image-editor_<version>_<architecture>.deb.
#
# The package runs no maintainer scripts of its own: on Debian 12 the triggers of
# desktop-file-utils (share/applications), shared-mime-info (share/mime/packages) and
# hicolor-icon-theme (share/icons/hicolor) refresh the menu, the MIME database and the icon
# cache whenever a package puts files there.

if(NOT TARGET vespra-image-editor)
  message(WARNING "The editor program (target vespra-image-editor) is not part of this build; "
                  "the package and `cmake --install` will lack it.")
endif()

set(VESPRA_PACKAGE_MAINTAINER "Vespra Image Editor developers <vespra-image-editor@example.org>"
    CACHE STRING "The Maintainer field of the Debian package: name <e-mail>")

set(CPACK_PACKAGE_NAME vespra-image-editor)
set(CPACK_PACKAGE_VENDOR "Vespra")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT ${VESPRA_PACKAGE_MAINTAINER})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "HDR image editor for multi-channel renders")
# One paragraph, in lines short enough for package managers to show as they are.
string(JOIN "\n" CPACK_PACKAGE_DESCRIPTION
       "An editor for the high dynamic range, multi-channel images that a physically"
       "based renderer writes. It opens a render or merges the partial renders of"
       "several render nodes, denoises it, rebalances its lights, tone-maps it,"
       "applies curves and a look-up table, adds bloom and glare, sharpens or blurs,"
       "and saves the image with its settings or as the user sees it. The package"
       "also holds the batch tool vespra-image-cmd, which runs the same processing"
       "from scripts, and a thumbnailer that shows renders in file managers.")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_GENERATOR DEB)

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER ${VESPRA_PACKAGE_MAINTAINER})
set(CPACK_DEBIAN_PACKAGE_SECTION graphics)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
# The libraries the programs link against, and their versions, as dpkg-shlibdeps finds them.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

include(CPack)
