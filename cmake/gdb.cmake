# GDB loads a file LIBRARY-gdb.py by itself together with LIBRARY: from the library's own folder where the user has called
# that safe, and from the folder below that GDB trusts.
if(NOT APPLE)
    add_custom_command(TARGET core POST_BUILD
        COMMAND ${CMAKE_COMMAND} -E copy_if_different ${PROJECT_SOURCE_DIR}/tools/gdb/core.py $<TARGET_FILE:core>-gdb.py)
    install(FILES tools/gdb/core.py RENAME $<TARGET_FILE_NAME:core>-gdb.py
        DESTINATION ${CMAKE_INSTALL_DATADIR}/gdb/auto-load/${CMAKE_INSTALL_FULL_LIBDIR})
endif()
