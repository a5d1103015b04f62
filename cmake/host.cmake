# The host's services: the target `mac`, and AppKit when it is installed.

# `mac` is the Mac's interface: the system's frameworks on a Mac, the library macapi on other hosts.
add_library(mac INTERFACE)
if(APPLE)
    target_link_libraries(mac INTERFACE
        "-framework Carbon" "-framework Cocoa" "-framework CoreFoundation" "-framework ApplicationServices")
else()
    add_subdirectory(macapi)
    target_link_libraries(mac INTERFACE macapi)
endif()

# AppKit comes from the system on a Mac, and from GNUstep on other hosts, where gnustep-config prints the compile
# options. The C++ compiler also compiles Objective-C++ when its Objective-C++ part is installed.
set(appkit_flags)
set(appkit_libs)
if(NOT APPLE)
    find_program(GNUSTEP_CONFIG gnustep-config)
    if(GNUSTEP_CONFIG)
        execute_process(COMMAND ${GNUSTEP_CONFIG} --objc-flags OUTPUT_VARIABLE flags OUTPUT_STRIP_TRAILING_WHITESPACE)
        execute_process(COMMAND ${GNUSTEP_CONFIG} --gui-libs OUTPUT_VARIABLE libs OUTPUT_STRIP_TRAILING_WHITESPACE)
        separate_arguments(appkit_flags UNIX_COMMAND "${flags}")
        separate_arguments(appkit_libs UNIX_COMMAND "${libs}")
        # Remove the options that this project's own settings decide: optimisation, debug symbols, dependency files,
        # warnings and the current folder.
        list(REMOVE_ITEM appkit_flags -MMD -MP -g -O2 -I. -Wall -Wno-import -pthread -fPIC)
        # The C++ library finds the system's headers only when their folder comes after its own, so it must not be
        # named.
        list(REMOVE_ITEM appkit_flags -I/usr/include)
        list(TRANSFORM appkit_flags REPLACE "^-I" "-isystem")
    endif()
endif()
set(appkit_found NO)
if(NOT CORE_APPKIT STREQUAL "OFF" AND NOT CMAKE_CROSSCOMPILING)
    set(appkit_probe ${CMAKE_CURRENT_BINARY_DIR}/appkit_probe.mm)
    file(WRITE ${appkit_probe} "#import <AppKit/AppKit.h>\n")
    execute_process(COMMAND ${CMAKE_CXX_COMPILER} ${appkit_flags} -fsyntax-only ${appkit_probe}
        RESULT_VARIABLE appkit_missing OUTPUT_QUIET ERROR_QUIET)
    if(NOT appkit_missing)
        set(appkit_found YES)
    endif()
endif()
if(appkit_found)
    set(CMAKE_OBJCXX_COMPILER ${CMAKE_CXX_COMPILER})
    enable_language(OBJCXX)
    message(STATUS "Windows: AppKit")
elseif(CORE_APPKIT STREQUAL "ON")
    message(FATAL_ERROR "CORE_APPKIT is ON, but the compiler finds no header AppKit/AppKit.h")
else()
    message(STATUS "Windows: none, AppKit is missing or turned off")
endif()

# core_appkit(TARGET WITH WITHOUT): adds the Objective-C++ source WITH when the build has AppKit, else the source
# WITHOUT.
function(core_appkit target with without)
    if(appkit_found)
        target_sources(${target} PRIVATE ${with})
        set_source_files_properties(${with} PROPERTIES COMPILE_OPTIONS "${appkit_flags}")
        target_link_libraries(${target} PRIVATE ${appkit_libs})
    else()
        target_sources(${target} PRIVATE ${without})
    endif()
endfunction()

# core_lazy_appkit(core WITH WITHOUT): like core_appkit, but core loads AppKit when it first needs it. On hosts whose
# AppKit is not the system's own, WITH becomes the library core-appkit; macapi/src/appkit/bkwindow_library.h explains it.
function(core_lazy_appkit target with without)
    if(APPLE OR NOT appkit_found)
        core_appkit(${target} ${with} ${without})
        return()
    endif()
    set(appkit_dir ${PROJECT_SOURCE_DIR}/macapi/src/appkit)
    core_library(${target}-appkit ${appkit_dir}/bkwindow_library.cpp MAP ${appkit_dir}/bkwindow_library.map)
    core_appkit(${target}-appkit ${with} ${without})
    target_link_libraries(${target}-appkit PRIVATE mac)
    target_sources(${target} PRIVATE ${appkit_dir}/bkwindow_loader.cpp)
    set_source_files_properties(${appkit_dir}/bkwindow_loader.cpp PROPERTIES
        COMPILE_DEFINITIONS BKWINDOW_LIBRARY="$<TARGET_SONAME_FILE_NAME:${target}-appkit>")
    target_link_libraries(${target} PRIVATE ${CMAKE_DL_LIBS})
    set_property(TARGET ${target} APPEND PROPERTY BUILD_RPATH $ORIGIN) # where libcore looks for it
    add_dependencies(${target} ${target}-appkit)
endfunction()
