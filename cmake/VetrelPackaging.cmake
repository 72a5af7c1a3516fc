# What a host gets from `cmake --install`: the CMake package (find_package(Vetrel)),
# the pkg-config file and a Debian package through CPack.
include(CMakePackageConfigHelpers)
set(VETREL_INSTALL_CMAKEDIR ${CMAKE_INSTALL_LIBDIR}/cmake/Vetrel)

install(EXPORT VetrelTargets NAMESPACE Vetrel:: DESTINATION ${VETREL_INSTALL_CMAKEDIR})
configure_package_config_file(cmake/VetrelConfig.cmake.in
    ${CMAKE_CURRENT_BINARY_DIR}/VetrelConfig.cmake
    INSTALL_DESTINATION ${VETREL_INSTALL_CMAKEDIR}
    PATH_VARS VETREL_INSTALL_TRANSLATIONSDIR)
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/VetrelConfigVersion.cmake
    COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/VetrelConfig.cmake
              ${CMAKE_CURRENT_BINARY_DIR}/VetrelConfigVersion.cmake
    DESTINATION ${VETREL_INSTALL_CMAKEDIR})

# The .pc file finds its prefix from its own place, so a staged or relocated
# installation still works.
file(RELATIVE_PATH VETREL_PC_TO_PREFIX /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
string(REGEX REPLACE "/$" "" VETREL_PC_TO_PREFIX "${VETREL_PC_TO_PREFIX}")
configure_file(cmake/vetrel.pc.in ${CMAKE_CURRENT_BINARY_DIR}/vetrel.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/vetrel.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME libvetrel)
set(CPACK_PACKAGE_VENDOR "libvetrel developers")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Form controls for a desktop trading terminal (Qt 5 Widgets)")
# Build the package from a tree configured with -DCMAKE_INSTALL_PREFIX=/usr so
# the library and the Designer plugin land in Debian's multiarch folders.
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "libvetrel developers <vetrel@localhost>")
set(CPACK_DEBIAN_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
include(CPack)
