# Installation into FHS/XDG places, and a Debian package of it (cpack -G DEB).
# The folders are fixed relative to the prefix: quilt-create finds its
# template in ../lib/quilt and the helper in ../libexec/quilt from bin/.
set(QUILT_PACKAGING_DIR ${CMAKE_CURRENT_LIST_DIR})
set(QUILT_PACKAGE_MAINTAINER "Quilt developers <quilt@example.org>"
  CACHE STRING "Maintainer named in the Debian package and its changelog")

install(TARGETS quilt-create RUNTIME DESTINATION bin)
install(TARGETS quilt-helper RUNTIME DESTINATION libexec/quilt)
# The creation window, which quilt-create starts from ../libexec/quilt, and
# its entry in the application menu.
install(TARGETS quilt-create-window RUNTIME DESTINATION libexec/quilt)
install(FILES ${QUILT_PACKAGING_DIR}/org.quilt.Create.desktop DESTINATION share/applications)
install(FILES ${QUILT_PACKAGING_DIR}/org.quilt.Create.svg DESTINATION share/icons/hicolor/scalable/apps)

# The assembled template bundle, as the build tree has it.
install(DIRECTORY ${CMAKE_BINARY_DIR}/DefaultApp.app DESTINATION lib/quilt
  USE_SOURCE_PERMISSIONS PATTERN .stamp EXCLUDE)
# Its two binaries are copies, not install targets: strip them when the
# targets are (cmake --install --strip, and cpack).
install(CODE "
  if(CMAKE_INSTALL_DO_STRIP)
    set(bundle \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/lib/quilt/DefaultApp.app/Contents\")
    execute_process(COMMAND \"${CMAKE_STRIP}\" --strip-unneeded
      \"\${bundle}/MacOS/DefaultApp\" \"\${bundle}/Frameworks/WebExtensions/$<TARGET_FILE_NAME:quilt-webext>\"
      COMMAND_ERROR_IS_FATAL ANY)
  endif()")

# The bus starts the helper from the prefix chosen at install time, which
# for cpack differs from the one configured.
# One staging folder per destination, so two installs never share it.
install(CODE "
  set(QUILT_HELPER_INSTALLED \"\${CMAKE_INSTALL_PREFIX}/libexec/quilt/quilt-helper\")
  string(MD5 key \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}\")
  set(staged \"${CMAKE_BINARY_DIR}/packaging/\${key}/org.quilt.Helper.service\")
  configure_file(\"${QUILT_PACKAGING_DIR}/org.quilt.Helper.service.in\" \"\${staged}\" @ONLY)
  file(INSTALL \"\${staged}\"
    DESTINATION \"\${CMAKE_INSTALL_PREFIX}/share/dbus-1/services\"
    FILE_PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
  file(REMOVE_RECURSE \"${CMAKE_BINARY_DIR}/packaging/\${key}\")")

# Compressed without names or dates, so the package is reproducible.
configure_file(${QUILT_PACKAGING_DIR}/changelog.Debian ${CMAKE_BINARY_DIR}/packaging/changelog.Debian @ONLY)
set(QUILT_GZIPPED)
foreach(pair "${QUILT_PACKAGING_DIR}/quilt-create.1|quilt-create.1.gz"
             "${CMAKE_BINARY_DIR}/packaging/changelog.Debian|changelog.Debian.gz")
  string(REPLACE "|" ";" pair "${pair}")
  list(GET pair 0 source)
  list(GET pair 1 name)
  add_custom_command(OUTPUT ${CMAKE_BINARY_DIR}/packaging/${name}
    COMMAND sh -c "gzip -9n -c \"$1\" > \"$2\"" sh ${source} ${CMAKE_BINARY_DIR}/packaging/${name}
    DEPENDS ${source} VERBATIM)
  list(APPEND QUILT_GZIPPED ${CMAKE_BINARY_DIR}/packaging/${name})
endforeach()
add_custom_target(packaging_files ALL DEPENDS ${QUILT_GZIPPED})

install(FILES ${CMAKE_BINARY_DIR}/packaging/quilt-create.1.gz DESTINATION share/man/man1)
install(FILES ${QUILT_PACKAGING_DIR}/completions/quilt-create.bash
  DESTINATION share/bash-completion/completions RENAME quilt-create)
install(FILES ${QUILT_PACKAGING_DIR}/completions/_quilt-create DESTINATION share/zsh/vendor-completions)
install(FILES ${QUILT_PACKAGING_DIR}/copyright ${CMAKE_BINARY_DIR}/packaging/changelog.Debian.gz
  DESTINATION share/doc/quilt)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME quilt)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
# The first packaging of this version: a Debian revision, as a packaged
# upstream program has.
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_PACKAGE_CONTACT "${QUILT_PACKAGE_MAINTAINER}")
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "${QUILT_PACKAGE_MAINTAINER}")
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION web)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "turn web sites into desktop apps of their own")
# The summary heads the description; cpack indents these lines under it.
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION "quilt-create makes one small app per web site: a bundle with its own icon,
desktop entry, cookies and storage, showing the site in GTK windows with
tabs, keeping navigation on the site and sending foreign links to the usual
browser. Logins are kept in the keyring and page notifications reach the
desktop through quilt-helper, which the session bus starts when needed.")
# Real library dependencies, read from the binaries by dpkg-shlibdeps.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# Logins live in the Secret Service; made apps are listed in menus; a
# site's SVG icon is read through librsvg's gdk-pixbuf loader.
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "gnome-keyring, desktop-file-utils, librsvg2-common")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
include(CPack)
