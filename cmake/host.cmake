# The host's services: the target `mac`, and AppKit when it is installed.

# `mac` is the Mac's interface: the system's frameworks on a Mac, the library macapi on other hosts.
add_library(${prefix}mac INTERFACE)
add_library(core::mac ALIAS ${prefix}mac)
set_target_properties(${prefix}mac PROPERTIES EXPORT_NAME mac)
install(TARGETS ${prefix}mac EXPORT core)
if(APPLE)
    target_link_libraries(${prefix}mac INTERFACE
        "-framework Carbon" "-framework Cocoa" "-framework CoreFoundation" "-framework ApplicationServices")
else()
    add_subdirectory(macapi)
    target_link_libraries(${prefix}mac INTERFACE ${prefix}macapi)
endif()

include(cmake/appkit.cmake)     # appkit_flags, appkit_libs, core_appkit_target()
set(appkit_found NO)
if(APPLE AND NOT CORE_APPKIT STREQUAL "OFF")
    set(appkit_found YES) # a part of the system
elseif(NOT CORE_APPKIT STREQUAL "OFF" AND NOT CMAKE_CROSSCOMPILING)
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
    core_appkit_target()
    if(NOT PROJECT_IS_TOP_LEVEL) # the game's programs need the rules of cmake/appkit.cmake for the run path
        foreach(rule EXECUTABLE_RUNTIME_OBJCXX_FLAG EXECUTABLE_RUNTIME_OBJCXX_FLAG_SEP
                SHARED_LIBRARY_RUNTIME_OBJCXX_FLAG SHARED_LIBRARY_RUNTIME_OBJCXX_FLAG_SEP)
            set(CMAKE_${rule} "${CMAKE_${rule}}" PARENT_SCOPE)
        endforeach()
    endif()
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

# core_lazy_appkit(TARGET WITH WITHOUT): like core_appkit, but TARGET, which is core, loads AppKit when it first needs
# it. On hosts whose AppKit is not the system's own, WITH becomes the library core-appkit;
# macapi/src/appkit/bkwindow_library.h explains it. A static core links AppKit itself.
function(core_lazy_appkit target with without)
    if(APPLE OR NOT appkit_found OR core_kind STREQUAL "STATIC")
        core_appkit(${target} ${with} ${without})
        return()
    endif()
    set(appkit_dir ${PROJECT_SOURCE_DIR}/macapi/src/appkit)
    core_library(core-appkit ${appkit_dir}/bkwindow_library.cpp MAP ${appkit_dir}/bkwindow_library.map MODULE appkit)
    core_appkit(${target}-appkit ${with} ${without})
    target_link_libraries(${target}-appkit PRIVATE core::mac)
    target_sources(${target} PRIVATE ${appkit_dir}/bkwindow_loader.cpp)
    set_source_files_properties(${appkit_dir}/bkwindow_loader.cpp PROPERTIES
        COMPILE_DEFINITIONS BKWINDOW_LIBRARY="$<TARGET_SONAME_FILE_NAME:${target}-appkit>")
    target_link_libraries(${target} PRIVATE ${CMAKE_DL_LIBS})
    set_property(TARGET ${target} APPEND PROPERTY BUILD_RPATH $ORIGIN) # where libcore looks for it
    add_dependencies(${target} ${target}-appkit)
endfunction()
