# SPDX-License-Identifier: Apache-2.0
# How a library of ours gets another library, so that an installed one asks for it again.

# vx_dependency(TARGET PUBLIC|PRIVATE PACKAGE IMPORTED_TARGET PKG_CONFIG_NAME)
#   PUBLIC: our headers include its headers. PRIVATE: only a static build shows it to who links us.
function(vx_dependency target scope package imported pc_name)
    if(NOT TARGET ${imported}) # the configuration file of jsoncpp cannot be read twice
        find_package(${package} REQUIRED GLOBAL)
    endif()
    target_link_libraries(${target} ${scope} ${imported})
    set_property(GLOBAL APPEND PROPERTY VX_${scope}_FIND
        "if(NOT TARGET ${imported})\n    find_dependency(${package})\nendif()\n")
    set_property(GLOBAL APPEND PROPERTY VX_${scope}_PC_${target} ${pc_name})
endfunction()
