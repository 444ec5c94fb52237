# The Debian package, made by CPack from the install tree: `make package` in the top folder.
# The libraries the program links are found by dpkg-shlibdeps; what it only loads at run time
# (the xcb platform plugin, the SVG and image plugins, the QML modules its windows import, the
# English data of the text recogniser) is listed here, since no tool can see it.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME cliphaven)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_VENDOR "The Cliphaven developers")
set(CPACK_PACKAGE_CONTACT "${CLIPHAVEN_MAINTAINER}")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "clipboard history manager for the desktop")
set(CPACK_PACKAGE_DESCRIPTION
    "Cliphaven keeps the last 200 texts and images you copied, and named\n\
categories of clips that are never trimmed. A global shortcut opens its\n\
overlay over any program: type to search, pick a clip, and it is pasted\n\
where you were, with every format it was copied with.\n\
.\n\
Images are searchable by the text in them, recognised locally; links show\n\
a preview and hex colours a swatch. Secret copies from password managers\n\
and chosen programs are never recorded. A command line lists, copies,\n\
pastes and adds clips for scripts and pickers.")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_HOMEPAGE "${CLIPHAVEN_HOMEPAGE}")
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "${CLIPHAVEN_MAINTAINER}")
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS OFF)
set(CLIPHAVEN_RUNTIME_PACKAGES
    # The SVG icons (tray, overlay, preferences) and the TIFF and WebP images copied.
    libqt6svg6
    qt6-image-formats-plugins
    # The QML modules the overlay, preview and preferences import.
    qml6-module-qtquick
    qml6-module-qtquick-controls
    qml6-module-qtquick-templates
    qml6-module-qtquick-layouts
    qml6-module-qtquick-window
    qml6-module-qtqml-workerscript
    qml6-module-qtqml-models
    # Text recognition in images, in English.
    tesseract-ocr-eng)
list(JOIN CLIPHAVEN_RUNTIME_PACKAGES ", " CPACK_DEBIAN_PACKAGE_DEPENDS)
include(CPack)
