# What `cpack` makes. A build for the prefix /usr makes packages for Debian: libcore1, libcore-dev and core-tools. Any other
# build makes one archive, whose programs and libraries run from any folder. `./run package` makes both.
set(CPACK_PACKAGE_NAME core)
set(CPACK_PACKAGE_CONTACT "The core authors <core@core.example>" CACHE STRING "Who answers for the packages")
set(CPACK_PACKAGE_CHECKSUM SHA256)
set(CPACK_STRIP_FILES ON)
set(CPACK_VERBATIM_VARIABLES ON)

if(NOT CMAKE_INSTALL_PREFIX STREQUAL "/usr")
    set(CPACK_GENERATOR TGZ)
    set(CPACK_PACKAGE_FILE_NAME core-${PROJECT_VERSION}-${CMAKE_SYSTEM_NAME}-${CMAKE_SYSTEM_PROCESSOR})
    include(CPack)
    return()
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_COMPONENTS_ALL library development tools)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SOURCE core)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_CURRENT_BINARY_DIR} ${CMAKE_CURRENT_BINARY_DIR}/macapi)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

set(debian_library libcore${PROJECT_VERSION_MAJOR})
set(debian_development libcore-dev)
set(debian_tools core-tools)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "lowest library of a game engine")
set(about "core has memory in named banks, texts and their translations,\npreferences, and a layer over the operating system.\n\n")
string(CONCAT CPACK_DEBIAN_LIBRARY_DESCRIPTION ${about} "This package has the libraries that games load.")
string(CONCAT CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION ${about}
    "This package has the headers, and the files for CMake and pkg-config.")
string(CONCAT CPACK_DEBIAN_TOOLS_DESCRIPTION ${about}
    "This package has core-prefs, which shows and changes the preferences of\ngames, and core-demo, a small game.")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION devel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${debian_library} (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "${debian_library} (>= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SUGGESTS "gobjc++, libgnustep-gui-dev")

# The control files of the library. `symbols` and `shlibs` say which version of the package a program needs; symbols.py
# writes them when cpack has staged the libraries. `triggers` lets the dynamic linker note the libraries.
set(control ${CMAKE_CURRENT_BINARY_DIR}/packaging)
file(WRITE ${control}/triggers "activate-noawait ldconfig\n")
configure_file(packaging/symbols.cmake.in ${control}/symbols.cmake @ONLY)
set(CPACK_PRE_BUILD_SCRIPTS ${control}/symbols.cmake)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA ${control}/symbols ${control}/shlibs ${control}/triggers)

# Each package has its licence and its changes.
file(STRINGS LICENSE lines)
set(licence)
foreach(line IN LISTS lines)
    string(APPEND licence " ${line}\n")
endforeach()
string(REGEX REPLACE "\n \n" "\n .\n" licence "${licence}")
configure_file(packaging/debian/copyright.in ${control}/copyright @ONLY)
execute_process(COMMAND gzip -9nc ${CMAKE_CURRENT_SOURCE_DIR}/packaging/debian/changelog OUTPUT_FILE ${control}/changelog.gz
    COMMAND_ERROR_IS_FATAL ANY)
foreach(component library development tools)
    string(TOUPPER ${component} upper)
    set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${debian_${component}})
    install(FILES ${control}/copyright ${control}/changelog.gz
        DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${debian_${component}} COMPONENT ${component})
    file(GLOB overrides packaging/debian/${debian_${component}}.lintian-overrides)
    if(overrides)
        install(FILES ${overrides} DESTINATION ${CMAKE_INSTALL_DATADIR}/lintian/overrides RENAME ${debian_${component}}
            COMPONENT ${component})
    endif()
endforeach()
include(CPack)
