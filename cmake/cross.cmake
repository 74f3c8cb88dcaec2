# SPDX-License-Identifier: Apache-2.0
# What the 32-bit toolchains share. The compiler brings the C and C++ libraries, everything else comes from a
# sysroot that script/sysroot fills; nothing of the 64-bit machine is looked at.

# vx_cross(ARCH TRIPLET LIBRARY_DIR DYNAMIC_LOADER)
macro(vx_cross arch triplet library_dir loader)
    set(CMAKE_SYSTEM_NAME Linux)
    set(CMAKE_CXX_COMPILER ${triplet}-g++)
    set(_root ${arch})
    if(VX_FOR_PACKAGE) # with the media verbs, which the tests of the target do without
        set(_root ${arch}-media)
    endif()
    if(DEFINED ENV{VX_SYSROOT_DIR})
        set(VX_SYSROOT $ENV{VX_SYSROOT_DIR}/${_root})
    else()
        set(VX_SYSROOT ${CMAKE_CURRENT_LIST_DIR}/../.cache/sysroot/${_root})
    endif()
    if(NOT EXISTS ${VX_SYSROOT}/.complete)
        message(FATAL_ERROR "No libraries for ${_root} in ${VX_SYSROOT}; run script/sysroot ${_root}")
    endif()
    get_filename_component(VX_SYSROOT ${VX_SYSROOT} REALPATH)

    set(CMAKE_LIBRARY_ARCHITECTURE ${library_dir})
    set(CMAKE_FIND_ROOT_PATH ${VX_SYSROOT})
    set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
    set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
    set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
    set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
    set(ENV{PKG_CONFIG_SYSROOT_DIR} ${VX_SYSROOT})
    set(ENV{PKG_CONFIG_LIBDIR} ${VX_SYSROOT}/usr/lib/${library_dir}/pkgconfig:${VX_SYSROOT}/usr/share/pkgconfig)

    set(CMAKE_CXX_STANDARD_INCLUDE_DIRECTORIES ${VX_SYSROOT}/usr/include/${library_dir})

    # A program finds the loader and the libraries of its width by itself, and so do the programs that it starts. One
    # that goes into a package finds those of the machine that it is installed on.
    set(_kind rpath)
    if(VX_FOR_PACKAGE)
        set(_kind rpath-link)
    endif()
    set(_dirs /usr/${triplet}/lib ${VX_SYSROOT}/usr/lib/${library_dir} ${VX_SYSROOT}/lib/${library_dir})
    list(JOIN _dirs ":" _path)
    set(_link "-Wl,--dynamic-linker=${loader} -Wl,--disable-new-dtags")
    if(VX_FOR_PACKAGE) # what FFmpeg's libraries need lies in folders of its own, which the loader there knows
        string(APPEND _link " -Wl,--unresolved-symbols=ignore-in-shared-libs")
    endif()
    set(CMAKE_EXE_LINKER_FLAGS_INIT "${_link} -Wl,-${_kind},${_path}")
    set(CMAKE_SHARED_LINKER_FLAGS_INIT "-Wl,--disable-new-dtags -Wl,-${_kind},${_path}")
    set(CMAKE_TRY_COMPILE_PLATFORM_VARIABLES VX_SYSROOT VX_FOR_PACKAGE)
endmacro()
