# The Debian packages as CPack makes them; scripts/package.sh calls it.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_CONTACT "The kelptest authors <kelptest@example.org>")
set(CPACK_COMPONENTS_ALL kelptest dev)
set(CPACK_STRIP_FILES ON)
set(CPACK_PRE_BUILD_SCRIPTS "${CMAKE_CURRENT_BINARY_DIR}/debian_files.cmake")
configure_file(debian_files.cmake.in debian_files.cmake @ONLY)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SOURCE kelptest)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)

set(CPACK_DEBIAN_KELPTEST_PACKAGE_NAME kelptest)
set(CPACK_DEBIAN_KELPTEST_PACKAGE_SECTION database)
set(CPACK_DEBIAN_KELPTEST_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "${CMAKE_BINARY_DIR}")
configure_file(postrm.in postrm @ONLY)
set(CPACK_DEBIAN_KELPTEST_PACKAGE_CONTROL_EXTRA "${CMAKE_CURRENT_BINARY_DIR}/postrm")
set(CPACK_DEBIAN_KELPTEST_DESCRIPTION "demonstration and smoke test of a historian database
kelptest runs 29 demonstrations against a real-time and historian server,
from its clock over a tree of points to history and snapshots, and then
writes a value to every point once a second. kelpcheck says whether the
server does what its client library promises, with evidence and reports.
.
The client library that it comes with stores in an SQLite file or on a
PostgreSQL server. It lies in a folder of its own, and the library of a
server's vendor can take its place.")

set(CPACK_DEBIAN_DEV_PACKAGE_NAME libkelpapi2-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS "kelptest (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_DEV_DESCRIPTION "files for programs that use libkelpapi2
What a program needs to be built against libkelpapi2, the client library of
a real-time and historian server that comes with kelptest: the header, an
example, and files for pkg-config and CMake.")

include(CPack)
