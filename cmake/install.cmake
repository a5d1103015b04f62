# The files by which a game finds the installed libraries: the package configuration for CMake, and core.pc for
# pkg-config. All paths in them are relative, so that the installed tree may move. This file also installs the licence
# and the manual pages.
include(CMakePackageConfigHelpers)

# What a game links besides static libraries: X11::Xau and -lXau, and so on.
set(needed_packages)
set(needed_libs)
if(core_kind STREQUAL "STATIC")
    set(needed_packages Threads)
    set(needed_libs -rdynamic)
    if(appkit_found)
        list(APPEND needed_libs ${appkit_libs})
    endif()
    if(NOT APPLE)
        get_target_property(libraries ${prefix}macapi LINK_LIBRARIES)
        if("X11::X11" IN_LIST libraries)
            list(APPEND needed_packages X11)
        endif()
        list(TRANSFORM libraries REPLACE "^Threads::Threads$" "-pthread")
        list(TRANSFORM libraries REPLACE "^(X11::)?([A-Za-z].*)" "-l\\2")
        list(APPEND needed_libs ${libraries})
    endif()
endif()

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/core)
configure_package_config_file(cmake/coreConfig.cmake.in ${CMAKE_CURRENT_BINARY_DIR}/coreConfig.cmake
    INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/coreConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES
    ${CMAKE_CURRENT_BINARY_DIR}/coreConfig.cmake
    ${CMAKE_CURRENT_BINARY_DIR}/coreConfigVersion.cmake
    cmake/appkit.cmake
    DESTINATION ${package_dir} COMPONENT development)
install(EXPORT core NAMESPACE core:: FILE coreTargets.cmake DESTINATION ${package_dir} COMPONENT development)

# core.pc. pkg-config replaces ${pcfiledir} by the folder of the file.
set(pc_libs -lcore -lfile -llogger)
set(pc_cflags)
if(core_framework)
    set(pc_libs -F\${prefix}/Frameworks -framework core -framework file -framework logger)
    set(pc_cflags -F\${prefix}/Frameworks)
endif()
if(NOT APPLE)
    list(APPEND pc_libs -lmacapi)
    list(APPEND pc_cflags -I\${includedir}/macapi)
    if(CMAKE_SIZEOF_VOID_P EQUAL 4)
        list(APPEND pc_cflags -D_FILE_OFFSET_BITS=64) # the layout of struct dirent, which ScanDir's callback is given
    endif()
endif()
list(JOIN pc_cflags " " pc_cflags)
string(JOIN " " pc_libs ${pc_libs} ${needed_libs})
cmake_path(SET pc_dir NORMALIZE "/${CMAKE_INSTALL_LIBDIR}/pkgconfig")
cmake_path(RELATIVE_PATH pc_dir BASE_DIRECTORY / OUTPUT_VARIABLE pc_dir)
string(REGEX REPLACE "[^/]+" ".." pc_prefix "${pc_dir}")
configure_file(cmake/core.pc.in ${CMAKE_CURRENT_BINARY_DIR}/core.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/core.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)

# Debian's packages have the licence in another form, and compressed pages.
set(debian NO)
if(CMAKE_INSTALL_PREFIX STREQUAL "/usr")
    set(debian YES)
else()
    install(FILES LICENSE CHANGELOG.md DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/core COMPONENT development)
endif()

# The guide, the examples and the template of a game, in one folder, so that the links between the pages lead to the
# files. The README is the first page.
set(doc_dir ${CMAKE_INSTALL_DATADIR}/doc/core)
if(debian)
    set(doc_dir ${CMAKE_INSTALL_DATADIR}/doc/libcore-dev)
endif()
install(FILES README.md DESTINATION ${doc_dir} COMPONENT development)
install(DIRECTORY docs examples game DESTINATION ${doc_dir} COMPONENT development
    PATTERN man EXCLUDE
    PATTERN manual EXCLUDE
    PATTERN *.py EXCLUDE)

# Every page in docs/man is installed by its section: core-prefs.1 goes to man1.
if(NOT CORE_TOOLS)
    return()
endif()
file(GLOB pages CONFIGURE_DEPENDS docs/man/*.[1-8])
foreach(page IN LISTS pages)
    cmake_path(GET page FILENAME name)
    string(REGEX MATCH "[1-8]$" section ${page})
    if(debian)
        execute_process(COMMAND gzip -9nc ${page} OUTPUT_FILE ${CMAKE_CURRENT_BINARY_DIR}/${name}.gz)
        set(page ${CMAKE_CURRENT_BINARY_DIR}/${name}.gz)
    endif()
    install(FILES ${page} DESTINATION ${CMAKE_INSTALL_MANDIR}/man${section} COMPONENT tools)
endforeach()
