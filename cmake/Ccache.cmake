# ccache, where it is installed and nothing else launches the compiler.
find_program(KALTOR_CCACHE ccache)
if(KALTOR_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
    # What ccache asks for where headers are precompiled. It goes by the files that a unit depends on, not by the
    # preprocessed text: that has no comments, while GCC knows the headers in a precompiled one by all of their text.
    # Names below the sources count from the build folder, so that build folders share what was compiled.
    set(CMAKE_CXX_COMPILER_LAUNCHER ${CMAKE_COMMAND} -E env CCACHE_SLOPPINESS=pch_defines,time_macros CCACHE_DEPEND=1
                                    CCACHE_BASEDIR=${PROJECT_SOURCE_DIR} CCACHE_NOHASHDIR=1 ${KALTOR_CCACHE})
    if(KALTOR_PRECOMPILE AND CMAKE_CXX_COMPILER_ID STREQUAL GNU)
        add_compile_options(-fpch-preprocess)
    endif()
endif()
