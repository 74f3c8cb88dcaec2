# SPDX-License-Identifier: Apache-2.0
# What every target of this project has in common: language level, warnings, visibility, source paths.

# No -Wpedantic: it refuses the %m that log messages print errno with.
# vx_target(TARGET): C++20, our warnings, source paths relative to the project (they appear in log lines).
function(vx_target target)
    target_compile_features(${target} PUBLIC cxx_std_20)
    set_target_properties(${target} PROPERTIES CXX_EXTENSIONS OFF)
    target_compile_options(${target} PRIVATE
        -Wall -Wextra -Wshadow -Wconversion -Wsign-conversion -Wold-style-cast
        $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict> # GCC 12 at -O3 warns of std::string's own copies (its bug 105651)
        -Wnon-virtual-dtor -Woverloaded-virtual -Wformat=2 -Wimplicit-fallthrough
        $<$<BOOL:${VX_WARNINGS_AS_ERRORS}>:-Werror>
        -fmacro-prefix-map=${PROJECT_SOURCE_DIR}/=)
    target_compile_definitions(${target} PRIVATE _FILE_OFFSET_BITS=64) # recordings pass 2 GiB on 32-bit boxes too
endfunction()

# vx_library(TARGET EXPORT_NAME): a hidden-visibility library with our version.
function(vx_library target export_name)
    vx_target(${target})
    set_target_properties(${target} PROPERTIES
        CXX_VISIBILITY_PRESET hidden
        VISIBILITY_INLINES_HIDDEN ON
        POSITION_INDEPENDENT_CODE ON
        INSTALL_RPATH "$ORIGIN"
        VERIFY_INTERFACE_HEADER_SETS ON
        EXPORT_NAME ${export_name}
        VERSION ${PROJECT_VERSION}
        SOVERSION ${PROJECT_VERSION_MAJOR})
endfunction()
