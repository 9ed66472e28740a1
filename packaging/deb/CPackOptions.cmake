# cpack reads this once for each kind of package. The tar.gz is what `cmake --install` makes: a folder that runs in
# place. The .deb has that folder's programs under /usr/lib, and around them what belongs to a system.
if(CPACK_GENERATOR STREQUAL "DEB")
  list(GET CPACK_INSTALL_CMAKE_PROJECTS 0 build)
  set(CPACK_PACKAGING_INSTALL_PREFIX /)
  set(CPACK_INSTALL_CMAKE_PROJECTS ${build} Norvane programs /usr/lib/norvane ${build} Norvane system /usr
    ${build} Norvane etc /etc)
endif()
