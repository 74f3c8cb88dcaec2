# SPDX-License-Identifier: Apache-2.0
# What is installed: both libraries, their headers under include/vxutil, the files that find_package and pkg-config
# read, and vx. Nothing holds the prefix, so an installed tree may be moved.
include(CMakePackageConfigHelpers)

# Three components, which are the three packages: library, development, tools.
install(TARGETS vxpackage vxutil EXPORT vxutilTargets
    LIBRARY COMPONENT library NAMELINK_COMPONENT development
    ARCHIVE COMPONENT development
    FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/vxutil COMPONENT development)
if(TARGET vx)
    install(TARGETS vx COMPONENT tools)
    install(FILES packaging/vx.bash DESTINATION share/bash-completion/completions RENAME vx COMPONENT tools)
    install(FILES packaging/vx.zsh DESTINATION share/zsh/vendor-completions RENAME _vx COMPONENT tools)
    install(FILES packaging/vx.fish DESTINATION share/fish/vendor_completions.d COMPONENT tools)
    if(NOT CMAKE_INSTALL_PREFIX STREQUAL "/usr") # a package's is packed
        install(FILES packaging/vx.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tools)
    endif()
endif()

set(VX_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/vxutil)
install(EXPORT vxutilTargets NAMESPACE vx:: DESTINATION ${VX_CMAKE_DIR} COMPONENT development)

# find_package(vxutil) finds again what our headers include and, for a static library, what it links.
get_property(_public GLOBAL PROPERTY VX_PUBLIC_FIND)
get_property(_private GLOBAL PROPERTY VX_PRIVATE_FIND)
if(BUILD_SHARED_LIBS)
    set(_private "")
endif()
list(JOIN _public "" VX_FIND_PUBLIC)
list(JOIN _private "" VX_FIND_PRIVATE)
configure_package_config_file(cmake/vxutilConfig.cmake.in vxutilConfig.cmake INSTALL_DESTINATION ${VX_CMAKE_DIR})
write_basic_package_version_file(vxutilConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/vxutilConfig.cmake ${PROJECT_BINARY_DIR}/vxutilConfigVersion.cmake
    cmake/FindXlsxWriter.cmake
    DESTINATION ${VX_CMAKE_DIR} COMPONENT development)

# pkg-config: the prefix is where the .pc file lies, whatever it was when the build was configured.
set(VX_PC_DIR ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH VX_PC_PREFIX /${VX_PC_DIR} /)
string(REGEX REPLACE "/$" "" VX_PC_PREFIX "${VX_PC_PREFIX}")
foreach(_target vxpackage vxutil)
    get_property(_public GLOBAL PROPERTY VX_PUBLIC_PC_${_target})
    get_property(_private GLOBAL PROPERTY VX_PRIVATE_PC_${_target})
    list(JOIN _public " " VX_PC_REQUIRES)
    # By their -l flags, not by their names: pkg-config would then ask for all that those link in turn, and Debian
    # does not install that with them.
    set(VX_PC_LIBS_PRIVATE "")
    if(NOT BUILD_SHARED_LIBS AND _private)
        find_package(PkgConfig REQUIRED)
        execute_process(COMMAND ${PKG_CONFIG_EXECUTABLE} --libs ${_private} OUTPUT_VARIABLE VX_PC_LIBS_PRIVATE
            OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
    endif()
    configure_file(cmake/${_target}.pc.in ${_target}.pc @ONLY)
    install(FILES ${PROJECT_BINARY_DIR}/${_target}.pc DESTINATION ${VX_PC_DIR} COMPONENT development)
endforeach()
