# Use ccache if it is installed and no other compiler launcher is set.
find_program(KALTOR_CCACHE ccache)
if(KALTOR_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
    # Settings that ccache needs for precompiled headers.
    set(CMAKE_CXX_COMPILER_LAUNCHER ${CMAKE_COMMAND} -E env CCACHE_SLOPPINESS=pch_defines,time_macros ${KALTOR_CCACHE})
    if(KALTOR_PRECOMPILE AND CMAKE_CXX_COMPILER_ID STREQUAL GNU)
        add_compile_options(-fpch-preprocess)
    endif()
endif()
