# SPDX-License-Identifier: Apache-2.0
# Debian packages: libvxutil1 (both libraries), libvxutil-dev and vx-tools. script/package builds them, with the prefix
# /usr that a distribution's files have; a build with any other prefix does not look at what is in here.
if(NOT CMAKE_INSTALL_PREFIX STREQUAL "/usr")
    return()
endif()

# The program's surroundings. The units name /usr/bin/vx, so they go with this prefix only.
set(_packaging ${PROJECT_SOURCE_DIR}/packaging)
if(TARGET vx)
    file(GLOB _units CONFIGURE_DEPENDS ${_packaging}/systemd/*.service ${_packaging}/systemd/*.timer)
    if(NOT VX_WITH_MEDIA) # a vx that neither captures nor records
        list(FILTER _units EXCLUDE REGEX "/vx-(capture|record)@")
    endif()
    install(FILES ${_units} DESTINATION /lib/systemd/system COMPONENT tools)
    install(FILES ${_packaging}/sysusers.d/vx.conf DESTINATION lib/sysusers.d COMPONENT tools)
    install(FILES ${_packaging}/tmpfiles.d/vx.conf DESTINATION lib/tmpfiles.d COMPONENT tools)
endif()

# What Debian wants of each package: changelog and copyright, packed where the policy says so.
find_program(VX_GZIP gzip REQUIRED)
string(TIMESTAMP _date "%a, %d %b %Y 00:00:00 +0000" UTC) # SOURCE_DATE_EPOCH, where it is set, decides
file(WRITE ${PROJECT_BINARY_DIR}/debian/changelog
    "vxutil (${PROJECT_VERSION}) unstable; urgency=medium\n\n  * See CHANGELOG.md of the source.\n\n"
    " -- The vxutil authors <vxutil@vx.invalid>  ${_date}\n")
execute_process(COMMAND ${VX_GZIP} -9nkf ${PROJECT_BINARY_DIR}/debian/changelog COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND ${VX_GZIP} -9nc ${_packaging}/vx.1 OUTPUT_FILE ${PROJECT_BINARY_DIR}/debian/vx.1.gz
    COMMAND_ERROR_IS_FATAL ANY)
if(TARGET vx)
    install(FILES ${PROJECT_BINARY_DIR}/debian/vx.1.gz DESTINATION share/man/man1 COMPONENT tools)
endif()

set(VX_DEB_NAME_library libvxutil${PROJECT_VERSION_MAJOR})
set(VX_DEB_NAME_development libvxutil-dev)
set(VX_DEB_NAME_tools vx-tools)
foreach(_component library development tools)
    set(_doc share/doc/${VX_DEB_NAME_${_component}})
    install(FILES ${_packaging}/debian/copyright DESTINATION ${_doc} COMPONENT ${_component})
    install(FILES ${PROJECT_BINARY_DIR}/debian/changelog.gz DESTINATION ${_doc} COMPONENT ${_component})
    string(TOUPPER ${_component} _key)
    set(CPACK_DEBIAN_${_key}_PACKAGE_NAME ${VX_DEB_NAME_${_component}})
    set(CPACK_DEBIAN_${_key}_FILE_NAME DEB-DEFAULT)
    set(CPACK_DEBIAN_${_key}_DEBUGINFO_PACKAGE OFF)
endforeach()

set(CPACK_GENERATOR DEB)
set(CPACK_COMPONENTS_ALL library development)
if(TARGET vx)
    list(APPEND CPACK_COMPONENTS_ALL tools)
endif()
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "") # each package has a first line of its own
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_PACKAGE_VENDOR "The vxutil authors")
set(CPACK_PACKAGE_CONTACT "The vxutil authors <vxutil@vx.invalid>")
set(CPACK_DEBIAN_PACKAGE_MAINTAINER ${CPACK_PACKAGE_CONTACT})
set(CPACK_DEBIAN_PACKAGE_SOURCE vxutil)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

# Natively dpkg-shlibdeps says what is needed. For another processor it knows no packages, so the list stands here;
# script/package compares the two.
set(_library_needs "libarchive13 (>= 3.0.4), libc6 (>= 2.34), libgcc-s1 (>= 3.5), libjsoncpp25 (>= 1.9.5), libsqlite3-0 (>= 3.12.0), libssl3 (>= 3.0.0), libstdc++6 (>= 12), libxlsxwriter4 (>= 1.1.4)")
set(_tools_need "libavcodec59 (>= 7:5.0), libavdevice59 (>= 7:5.0), libavformat59 (>= 7:5.0), libavutil57 (>= 7:5.1), libc6 (>= 2.34), libfmt9 (>= 9.1.0+ds1), libgcc-s1 (>= 3.5), libjsoncpp25 (>= 1.9.5), libstdc++6 (>= 12), libswresample4 (>= 7:5.1), libswscale6 (>= 7:5.0)")
if(NOT VX_WITH_MEDIA)
    string(REGEX REPLACE "lib(av|sw)[a-z]+[0-9]+ \\([^)]*\\)(, )?" "" _tools_need "${_tools_need}")
    string(REGEX REPLACE ", $" "" _tools_need "${_tools_need}")
endif()
if(CMAKE_CROSSCOMPILING)
    set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS OFF)
    set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE ${VX_DEB_ARCHITECTURE})
    set(CPACK_DEBIAN_LIBRARY_PACKAGE_DEPENDS "${_library_needs}")
    set(_tools_cross ", ${_tools_need}")
else()
    set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
    set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR})
endif()

set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_LIBRARY_DESCRIPTION "shared utility library of a network video recorder
Live frames between processes through shared memory, logging that is adjusted
while processes run, action rules, rotation of recordings and logs, SQL text
and records mapped to rows.
.
This package has the shared libraries.")
# What packages that link the libraries depend on. CPack's own file needs the target's objdump.
set(_shlibs "")
foreach(_library vxpackage vxutil)
    string(APPEND _shlibs "lib${_library} ${PROJECT_VERSION_MAJOR} ${VX_DEB_NAME_library} (= ${PROJECT_VERSION})\n")
endforeach()
file(WRITE ${PROJECT_BINARY_DIR}/debian/shlibs "${_shlibs}")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA "${_packaging}/debian/triggers;${PROJECT_BINARY_DIR}/debian/shlibs")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${VX_DEB_NAME_library} (= ${PROJECT_VERSION}), libjsoncpp-dev")
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "shared utility library of a network video recorder - development
Live frames between processes through shared memory, logging that is adjusted
while processes run, action rules, rotation of recordings and logs, SQL text
and records mapped to rows.
.
This package has the headers and the files for CMake and pkg-config.")

set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION video)
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS
    "${VX_DEB_NAME_library} (= ${PROJECT_VERSION}), systemd | systemd-standalone-sysusers, systemd | systemd-standalone-tmpfiles${_tools_cross}")
set(CPACK_DEBIAN_TOOLS_DESCRIPTION "tools of a network video recorder: capture, record, look, mend
One program, vx, that captures cameras into shared memory, records from it,
shows what flows, keeps action rules, rotates recordings and logs, and says
what is wrong with the box; with units for systemd.")
set(CPACK_DEBIAN_TOOLS_PACKAGE_CONTROL_EXTRA "")
foreach(_script postinst prerm postrm)
    configure_file(${_packaging}/debian/vx-tools.${_script} debian/${_script} COPYONLY)
    list(APPEND CPACK_DEBIAN_TOOLS_PACKAGE_CONTROL_EXTRA ${PROJECT_BINARY_DIR}/debian/${_script})
endforeach()
include(CPack)
