# Included by the presets for coverage: links counters.cpp into each program and library.
execute_process(COMMAND_ERROR_IS_FATAL ANY
    COMMAND ${CMAKE_CXX_COMPILER} -O1 -fPIC -c ${CMAKE_CURRENT_LIST_DIR}/counters.cpp -o ${CMAKE_BINARY_DIR}/counters.o)
add_link_options(${CMAKE_BINARY_DIR}/counters.o $<$<STREQUAL:$<TARGET_PROPERTY:TYPE>,EXECUTABLE>:LINKER:--export-dynamic-symbol=g_firstCounters>)
