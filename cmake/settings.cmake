# The compile settings of all targets, and the function that adds a library.
file(STRINGS core/version.h version_line REGEX "define CORE_VERSION \"${PROJECT_VERSION}\"")
if(NOT version_line)
    message(FATAL_ERROR "core/version.h has another version than ${PROJECT_VERSION}, which CMakeLists.txt has")
endif()

set(CMAKE_CXX_STANDARD 17)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
    set(CMAKE_BUILD_TYPE Release)
endif()

find_package(Threads REQUIRED)

# ccache is used where it is installed, unless the user has chosen a launcher or none (-DCMAKE_CXX_COMPILER_LAUNCHER=).
# The two exceptions are those that ccache asks for with precompiled headers.
find_program(CCACHE ccache)
if(CCACHE AND PROJECT_IS_TOP_LEVEL AND NOT DEFINED CMAKE_CXX_COMPILER_LAUNCHER)
    set(CMAKE_CXX_COMPILER_LAUNCHER
        ${CMAKE_COMMAND} -E env CCACHE_SLOPPINESS=pch_defines,time_macros ${CCACHE})
    set(CMAKE_OBJCXX_COMPILER_LAUNCHER ${CMAKE_CXX_COMPILER_LAUNCHER})
endif()

# The libraries are shared, so that a game can replace their functions. BUILD_SHARED_LIBS=OFF makes static ones.
set(core_kind SHARED)
if(DEFINED BUILD_SHARED_LIBS AND NOT BUILD_SHARED_LIBS)
    set(core_kind STATIC)
endif()

# Frameworks exist on a Mac alone, and a framework's library is shared.
set(core_framework NO)
if(APPLE AND CORE_FRAMEWORK AND core_kind STREQUAL "SHARED")
    set(core_framework YES)
endif()

# The libraries' targets are core, file, logger and macapi. In a game's build they are core-core, core-file and so on,
# because a game may have a target named logger. A game links core::core, which is the same in every build.
set(prefix)
if(NOT PROJECT_IS_TOP_LEVEL)
    set(prefix core-)
    cmake_language(DEFER DIRECTORY ${CMAKE_SOURCE_DIR} CALL core_short_names)
endif()

# core_short_names(): lets a game link `core` instead of core::core, and so on. A short name that the game itself uses
# for a target stays the game's. So CMake calls this function at the end of the game's CMakeLists.txt.
function(core_short_names)
    foreach(name core file logger macapi)
        if(TARGET core-${name} AND NOT TARGET ${name})
            add_library(${name} ALIAS core-${name})
        endif()
    endforeach()
endfunction()

# Installed libraries look for each other in their own folder. The dynamic linker searches /usr by itself.
set(core_run_path "$ORIGIN")
if(CMAKE_INSTALL_PREFIX STREQUAL "/usr")
    set(core_run_path)
endif()

# Blocks of a bank are aligned to at most 8 bytes. With this option, a class that allocates from a bank and needs a
# larger alignment does not compile. Without it the compiler accepts alignments up to 16. The target core::core passes
# the option on to the game, whose compiler may be another one than this build's.
set(core_new_alignment -faligned-new=8)
if(CMAKE_CXX_COMPILER_ID MATCHES Clang)
    set(core_new_alignment -fnew-alignment=8)
endif()
set(core_new_alignment_options)
foreach(language CXX OBJCXX)
    list(APPEND core_new_alignment_options
        $<$<COMPILE_LANG_AND_ID:${language},GNU>:-faligned-new=8>
        $<$<COMPILE_LANG_AND_ID:${language},Clang,AppleClang>:-fnew-alignment=8>)
endforeach()

# Compile options:
#
#   -ffp-contract=off          Floating-point formulas give the same result on every host: no fused multiply-add.
#   -fsemantic-interposition   A program may define a function that a library exports; the library then calls the
#                              program's function. This is the default of GNU's compiler.
#   -Wno-format-truncation     A text that does not fit a fixed buffer is truncated. This is intended.
#   _FILE_OFFSET_BITS=64       A 32-bit program can read the folders of large file systems. A 64-bit program can do so
#                              without this macro. The macro would link open64 for open, and a test that defines open
#                              would not be called.
add_compile_options(-Wall -Wextra -Wpedantic -Wshadow -ffp-contract=off)
add_compile_options($<$<CXX_COMPILER_ID:GNU>:-Wno-format-truncation>)
add_compile_options($<$<CXX_COMPILER_ID:Clang>:-fsemantic-interposition>)
add_compile_options(${core_new_alignment_options})
if(CMAKE_SIZEOF_VOID_P EQUAL 4)
    add_compile_definitions(_FILE_OFFSET_BITS=64)
endif()
if(CORE_WERROR)
    add_compile_options(-Werror)
endif()
if(CORE_SANITIZE)
    add_compile_options(-fsanitize=${CORE_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${CORE_SANITIZE})
endif()

# core_mac_library(NAME TARGET HEADERS): what a library has on a Mac alone. Programs look for the library in the Frameworks
# folder of their bundle; Mac OS X 10.4 knows no @rpath. A cross build cannot run its programs, so its libraries have this
# install name from the start, and no install_name_tool has to change it.
#
# With CORE_FRAMEWORK the library is a framework. Its headers are in NAME.framework/Headers; -F finds them there as
# "NAME/header.h".
function(core_mac_library name target headers)
    set_target_properties(${target} PROPERTIES
        INSTALL_NAME_DIR "@executable_path/../Frameworks"
        BUILD_WITH_INSTALL_NAME_DIR ${CMAKE_CROSSCOMPILING})
    if(NOT core_framework)
        return()
    endif()
    set_target_properties(${target} PROPERTIES
        FRAMEWORK ON
        FRAMEWORK_VERSION A
        PUBLIC_HEADER "${headers}"
        MACOSX_FRAMEWORK_IDENTIFIER core.example.${name}
        MACOSX_FRAMEWORK_BUNDLE_VERSION ${PROJECT_VERSION}
        MACOSX_FRAMEWORK_SHORT_VERSION_STRING ${PROJECT_VERSION})
    target_sources(${target} PRIVATE ${headers}) # CMake copies the public headers that are sources
endfunction()

# core_library(NAME SOURCE... [INCLUDE_DIR FOLDER] [MAP FILE] [MODULE COMPONENT] PUBLIC_HEADERS HEADER...)
#
# A library and its public headers. Its target is ${prefix}NAME, with the alias core::NAME. With MODULE, games do not
# link the library, so it is installed for loading alone, as a part of COMPONENT.
#
# The headers after PUBLIC_HEADERS are all headers that get installed. Every other header is private to this tree. The
# headers are included by their path from the project's folder ("core/parser.h") and installed under that path; with
# INCLUDE_DIR, by their path from FOLDER (<Carbon/Carbon.h>), and installed below a folder NAME.
#
# FILE lists the functions that the library exports, for linkers that take such a list. Without MAP, the list is
# NAME/NAME.map. The list hides the code that templates of the standard library generate; hidden visibility alone
# would export that code.
function(core_library name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "INCLUDE_DIR;MAP;MODULE" PUBLIC_HEADERS)
    set(target ${prefix}${name})
    add_library(${target} ${core_kind} ${arg_UNPARSED_ARGUMENTS})
    add_library(core::${name} ALIAS ${target})
    set_target_properties(${target} PROPERTIES
        OUTPUT_NAME ${name}
        EXPORT_NAME ${name}
        VERSION ${PROJECT_VERSION}
        SOVERSION ${PROJECT_VERSION_MAJOR}
        CXX_VISIBILITY_PRESET hidden
        OBJCXX_VISIBILITY_PRESET hidden
        VISIBILITY_INLINES_HIDDEN ON)
    target_include_directories(${target} PUBLIC
        $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>
        $<$<NOT:$<BOOL:${core_framework}>>:$<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>>)
    set(include_dir ${PROJECT_SOURCE_DIR})
    set(install_dir ${CMAKE_INSTALL_INCLUDEDIR})
    if(arg_INCLUDE_DIR)
        set(include_dir ${arg_INCLUDE_DIR})
        set(install_dir ${CMAKE_INSTALL_INCLUDEDIR}/${name})
        target_include_directories(${target} PUBLIC
            $<BUILD_INTERFACE:${include_dir}>
            $<INSTALL_INTERFACE:${install_dir}>)
    endif()
    set(headers) # a framework has its headers inside
    if(NOT core_framework)
        set(headers FILE_SET HEADERS DESTINATION ${install_dir} COMPONENT development)
        target_sources(${target} PUBLIC FILE_SET HEADERS BASE_DIRS ${include_dir} FILES ${arg_PUBLIC_HEADERS})
    endif()
    if(APPLE)
        core_mac_library(${name} ${target} "${arg_PUBLIC_HEADERS}")
    else()
        # Calls between the libraries load the address of the function and need no jump table. The dynamic linker
        # still chooses the function, so a program can define it.
        target_compile_options(${target} PRIVATE -fno-plt)
        if(CORE_ABI) # the comparison reads the types in the debug information
            target_compile_options(${target} PRIVATE -g)
        endif()
        # Copies of an unknown small length call the C library. The string instruction that the compiler would emit
        # takes longer to start than most of these copies take.
        if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|i.86)$")
            target_compile_options(${target} PRIVATE -mstringop-strategy=libcall)
        endif()
        set(map ${PROJECT_SOURCE_DIR}/${name}/${name}.map)
        if(arg_MAP)
            set(map ${arg_MAP})
        endif()
        target_link_options(${target} PRIVATE LINKER:--version-script=${map} LINKER:--no-undefined-version)
        set_target_properties(${target} PROPERTIES LINK_DEPENDS ${map} INSTALL_RPATH "${core_run_path}")
    endif()
    if(arg_MODULE)
        install(TARGETS ${target}
            LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT ${arg_MODULE} NAMELINK_SKIP)
        return()
    endif()
    install(TARGETS ${target} EXPORT core
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT library NAMELINK_COMPONENT development
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development
        FRAMEWORK DESTINATION Frameworks COMPONENT library
        ${headers})
endfunction()
