# cpack reads this once for each package. The tar.gz is what `cmake --install` makes: a folder that runs in place. A
# .deb, which NORVANE_PACKAGE names, has that folder's programs under /usr/lib, and around them what belongs to a system.
list(GET CPACK_INSTALL_CMAKE_PROJECTS 0 build)
if(CPACK_GENERATOR STREQUAL "DEB")
  set(CPACK_PACKAGING_INSTALL_PREFIX /)
  set(CPACK_PACKAGE_NAME ${NORVANE_PACKAGE})
  set(CPACK_DEBIAN_PACKAGE_NAME ${NORVANE_PACKAGE})
  set(scripts ${CMAKE_CURRENT_LIST_DIR}/${NORVANE_PACKAGE})
  file(GLOB CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA ${scripts}/*)
  if(NORVANE_PACKAGE STREQUAL "norvane-engine")
    set(CPACK_INSTALL_CMAKE_PROJECTS ${build} Norvane engine /usr/lib/norvane ${build} Norvane engine-system /usr)
    set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "monitor web, POP3 and SMTP services: the engine")
    set(CPACK_PACKAGE_DESCRIPTION "${CPACK_PACKAGE_DESCRIPTION}
.
This package has what a server needs: the engine, and norvanectl to manage it
from a terminal. Each user may run an engine of their own, without root, or
the machine one for all.")
    # Not linked: the certificate authorities, what makes the user of the machine's engine.
    set(CPACK_DEBIAN_PACKAGE_DEPENDS "ca-certificates, systemd-standalone-sysusers | systemd")
    set(CPACK_DEBIAN_PACKAGE_SUGGESTS "norvane, bash-completion, openssh-client")
    # The engine was part of it.
    set(CPACK_DEBIAN_PACKAGE_BREAKS "norvane (<< 1.0.0-2~)")
    set(CPACK_DEBIAN_PACKAGE_REPLACES "norvane (<< 1.0.0-2~)")
  else()
    set(CPACK_INSTALL_CMAKE_PROJECTS ${build} Norvane console /usr/lib/norvane ${build} Norvane console-system /usr
      ${build} Norvane console-etc /etc)
    set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "monitor web, POP3 and SMTP services: the console")
    set(CPACK_PACKAGE_DESCRIPTION "${CPACK_PACKAGE_DESCRIPTION}
.
This package has the windows: the console, in which monitors are managed, and
an icon that shows their state.")
    # Not linked: the plugin that reads the console's icons.
    set(CPACK_DEBIAN_PACKAGE_DEPENDS
      "norvane-engine (= ${CPACK_PACKAGE_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE}), libqt6svg6")
    set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "qt6-wayland, xdg-utils")
  endif()
else()
  set(CPACK_INSTALL_CMAKE_PROJECTS ${build} Norvane engine / ${build} Norvane console / ${build} Norvane papers /)
endif()
