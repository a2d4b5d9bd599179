# Installation: the programs (sdif2columns and sdiftool), the three libraries
# with their headers, a CMake package (find_package(sdif2columns) gives
# sdif2columns::sdif, ::ondel and ::kv2), a pkg-config file per library and
# the manual pages.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

# The same names inside a parent project that adds this tree as a subdirectory.
add_library(sdif2columns::sdif ALIAS sdif)
add_library(sdif2columns::ondel ALIAS ondel)
add_library(sdif2columns::kv2 ALIAS kv2)

set(SDIF2COLUMNS_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/sdif2columns)

install(TARGETS sdif ondel kv2 sdif2columns
    EXPORT sdif2columnsTargets
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})

# The headers each library lists as its interface.  They include one another
# by bare name, across libraries too, so each library keeps a folder of its
# own and its users get all three on the path through the link chain.  The
# folder names match the targets' INSTALL_INTERFACE include directories.
list(TRANSFORM SDIF_PUBLIC_HEADERS PREPEND ${PROJECT_SOURCE_DIR}/sdif/)
list(TRANSFORM ONDEL_PUBLIC_HEADERS PREPEND ${PROJECT_SOURCE_DIR}/ondel/)
list(TRANSFORM KV2_PUBLIC_HEADERS PREPEND ${PROJECT_SOURCE_DIR}/LibSrc/)
install(FILES ${SDIF_PUBLIC_HEADERS} DESTINATION include/sdif)
install(FILES ${ONDEL_PUBLIC_HEADERS} DESTINATION include/ondel)
install(FILES ${KV2_PUBLIC_HEADERS} DESTINATION include/kv2)

install(EXPORT sdif2columnsTargets
    NAMESPACE sdif2columns::
    DESTINATION ${SDIF2COLUMNS_CMAKE_DIR})

configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/sdif2columnsConfig.cmake.in
    ${PROJECT_BINARY_DIR}/cmake/sdif2columnsConfig.cmake
    INSTALL_DESTINATION ${SDIF2COLUMNS_CMAKE_DIR})
# Before 1.0 a minor release may change the libraries' interfaces.
write_basic_package_version_file(${PROJECT_BINARY_DIR}/cmake/sdif2columnsConfigVersion.cmake
    VERSION ${PROJECT_VERSION}
    COMPATIBILITY SameMinorVersion)
install(FILES
    ${PROJECT_BINARY_DIR}/cmake/sdif2columnsConfig.cmake
    ${PROJECT_BINARY_DIR}/cmake/sdif2columnsConfigVersion.cmake
    DESTINATION ${SDIF2COLUMNS_CMAKE_DIR})

# The .pc files name absolute paths, so they are written at install time,
# when the prefix given to `cmake --install --prefix` is known.
configure_file(${CMAKE_CURRENT_LIST_DIR}/InstallPkgConfig.cmake.in
    ${PROJECT_BINARY_DIR}/cmake/InstallPkgConfig.cmake @ONLY)
install(SCRIPT ${PROJECT_BINARY_DIR}/cmake/InstallPkgConfig.cmake)

# sdiftool is a program only: its libraries (sdiftidy, sdifcli) stay in the
# build tree.
install(TARGETS sdiftool RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})

install(FILES ${PROJECT_SOURCE_DIR}/man/sdif2columns.1 ${PROJECT_SOURCE_DIR}/man/sdiftool.1
    DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
