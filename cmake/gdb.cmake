# Places the printers of GDB (tools/gdb/core.py) where GDB finds them. GDB loads a file named LIBRARY-gdb.py together
# with LIBRARY, from two folders: the folder of the library, when the user has declared it safe
# (add-auto-load-safe-path), and the auto-load folder of the system, which GDB trusts. Only a package of the system
# has its file in the second folder, because the path there contains the path of the library. In any other installed
# tree the file is beside the library, so the tree may move.
if(NOT APPLE)
    set(gdb_printers ${PROJECT_SOURCE_DIR}/tools/gdb/core.py)
    add_custom_command(TARGET ${prefix}core POST_BUILD
        COMMAND ${CMAKE_COMMAND} -E copy_if_different ${gdb_printers} $<TARGET_FILE:${prefix}core>-gdb.py)
    set_property(TARGET ${prefix}core APPEND PROPERTY LINK_DEPENDS ${gdb_printers}) # a change of the file makes the build copy it again
    set(gdb_dir ${CMAKE_INSTALL_LIBDIR})
    if(CMAKE_INSTALL_PREFIX STREQUAL "/usr")
        set(gdb_dir ${CMAKE_INSTALL_DATADIR}/gdb/auto-load/${CMAKE_INSTALL_FULL_LIBDIR})
    endif()
    install(FILES ${gdb_printers} RENAME $<TARGET_FILE_NAME:${prefix}core>-gdb.py
        DESTINATION ${gdb_dir} COMPONENT development)
endif()
