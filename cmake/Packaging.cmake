# RPM (what the library's hosts install) and DEB packages, each split into a
# runtime package (the libraries, linnet, its man page and completion) and a
# development package (headers, pkg-config file, CMake package):
#   cpack --config build/CPackConfig.cmake -G RPM|DEB   (packages land in build/packages)
set(CPACK_PACKAGE_NAME mxlinnet)
set(CPACK_PACKAGE_VENDOR "libmxlinnet developers")
set(CPACK_PACKAGE_CONTACT "libmxlinnet developers <linnet@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Inspection and configuration of a Linux host's wired network adapters")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_COMPONENTS_ALL runtime development)
set(CPACK_COMPONENT_DEVELOPMENT_DEPENDS runtime)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME mxlinnet)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME mxlinnet-dev)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS OFF)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_DEPENDS "iproute2, libc6, libstdc++6")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_RECOMMENDS "iputils-ping, traceroute, vlan, ifupdown, pci.ids")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "mxlinnet (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION net)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)

set(CPACK_RPM_COMPONENT_INSTALL ON)
set(CPACK_RPM_FILE_NAME RPM-DEFAULT)
set(CPACK_RPM_PACKAGE_LICENSE "Proprietary")
set(CPACK_RPM_RUNTIME_PACKAGE_NAME mxlinnet)
set(CPACK_RPM_DEVELOPMENT_PACKAGE_NAME mxlinnet-devel)
set(CPACK_RPM_RUNTIME_PACKAGE_REQUIRES "iproute")
set(CPACK_RPM_RUNTIME_PACKAGE_SUGGESTS "iputils, traceroute, vconfig, dhcpcd, hwdata")
set(CPACK_RPM_DEVELOPMENT_PACKAGE_REQUIRES "mxlinnet = ${PROJECT_VERSION}")
set(CPACK_RPM_RUNTIME_PACKAGE_GROUP "System Environment/Libraries")
# Directories the base system owns are not claimed by these packages.
set(CPACK_RPM_EXCLUDE_FROM_AUTO_FILELIST_ADDITION
  /usr/share/man /usr/share/man/man1 /usr/share/bash-completion /usr/share/bash-completion/completions
  /usr/lib64/pkgconfig /usr/lib64/cmake /usr/lib/pkgconfig /usr/lib/cmake)

include(CPack)
