# How to compile and link code that uses AppKit. This build includes this file. The package configuration of the
# installed libraries includes it too, on the game's machine.
#
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
        # The linker searches these folders by itself, or they do not exist.
        foreach(option IN LISTS appkit_libs)
            string(REGEX REPLACE "^-L" "" folder ${option})
            if(option MATCHES "^-L(/usr/lib|/usr/local/lib)$" OR (option MATCHES "^-L" AND NOT EXISTS ${folder}))
                list(REMOVE_ITEM appkit_libs ${option})
            endif()
        endforeach()
    endif()
endif()

# CMake adds the folders of libraries to the run path of a C++ program. This makes it do the same in Objective-C++.
foreach(kind EXECUTABLE SHARED_LIBRARY)
    foreach(part FLAG FLAG_SEP)
        set(CMAKE_${kind}_RUNTIME_OBJCXX_${part} "${CMAKE_${kind}_RUNTIME_CXX_${part}}")
    endforeach()
endforeach()

# core_appkit_target(): the target core::appkit, for a game's own Objective-C++. It brings core::core.
function(core_appkit_target)
    add_library(core::appkit INTERFACE IMPORTED GLOBAL)
    target_compile_options(core::appkit INTERFACE "$<$<COMPILE_LANGUAGE:OBJC,OBJCXX>:${appkit_flags}>")
    target_link_libraries(core::appkit INTERFACE core::core ${appkit_libs})
endfunction()
