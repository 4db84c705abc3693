# Layers and their dependency rule.
#
# Include paths are written from the repository's root, but no target has the root on its include path: each layer
# offers a view, a folder in the build tree that holds a link to that layer's own folder only, and hands it on to
# those that link to it. Including a header of a layer that is not linked therefore fails to compile.

set(KALTOR_VIEWS ${PROJECT_BINARY_DIR}/views)

# The folder in which a source is compiled must not show, neither in messages nor in debug information: file names are
# given from the root, and a build in another folder is the same to the byte. Ninja gives names from the build folder if
# that lies inside the sources. Of several prefixes that match the last one counts.
file(RELATIVE_PATH KALTOR_ROOT_FROM_BUILD ${PROJECT_BINARY_DIR} ${PROJECT_SOURCE_DIR})
set(KALTOR_PREFIX_MAP -ffile-prefix-map=${PROJECT_SOURCE_DIR}/= -ffile-prefix-map=${KALTOR_ROOT_FROM_BUILD}=
                      -ffile-prefix-map=${PROJECT_BINARY_DIR}=build -ffile-prefix-map=${KALTOR_VIEWS}/=)

# Executables that can lie anywhere in memory. Compilers need not do so of themselves.
include(CheckPIESupported)
check_pie_supported(LANGUAGES CXX)
# What makes faults harder to use: checked buffers, and tables that are read-only once a program runs.
set(KALTOR_HARDENING -fstack-protector-strong $<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE>
                     $<$<NOT:$<CONFIG:Debug>>:-D_FORTIFY_SOURCE=2>)
set(KALTOR_HARDENING_LINK -Wl,-z,relro -Wl,-z,now)

function(kaltor_view name)
    foreach(dir IN LISTS ARGN)
        get_filename_component(parent ${KALTOR_VIEWS}/${name}/${dir} DIRECTORY)
        file(MAKE_DIRECTORY ${parent})
        if(NOT EXISTS ${KALTOR_VIEWS}/${name}/${dir})
            file(CREATE_LINK ${PROJECT_SOURCE_DIR}/${dir} ${KALTOR_VIEWS}/${name}/${dir} SYMBOLIC)
        endif()
    endforeach()
endfunction()

# The headers that most units of a target include, parsed once. Source files still include all that they use: a build
# without KALTOR_PRECOMPILE shows what is missing. A unity build parses them once or twice anyway.
function(kaltor_precompile target)
    if(KALTOR_PRECOMPILE AND NOT KALTOR_UNITY)
        target_precompile_headers(${target} PRIVATE ${ARGN})
    endif()
endfunction()

# For code that takes longer to compile than to run: tests, and the command's options.
function(kaltor_compile_fast target)
    target_compile_options(${target} PRIVATE $<$<CONFIG:Release>:-O1> $<$<CONFIG:Debug>:-O0>)
endfunction()

# Names that files of a target have for things of their own, each in its unnamed namespace. Unity builds compile many
# files as one; there each file's get its number. No header may use these names.
function(kaltor_names_of_each_file target)
    set(before "#define KALTOR_JOIN_(a, b) a##b\n#define KALTOR_JOIN(a, b) KALTOR_JOIN_(a, b)\n")
    set(after "#undef KALTOR_JOIN_\n#undef KALTOR_JOIN\n")
    foreach(name IN LISTS ARGN)
        string(APPEND before "#define ${name} KALTOR_JOIN(${name}, KALTOR_FILE)\n")
        string(APPEND after "#undef ${name}\n")
    endforeach()
    set_target_properties(${target} PROPERTIES UNITY_BUILD_UNIQUE_ID KALTOR_FILE
                          UNITY_BUILD_CODE_BEFORE_INCLUDE "${before}" UNITY_BUILD_CODE_AFTER_INCLUDE "${after}")
endfunction()

# Warnings, sanitizers, hardening and prefix maps: for every target of the project.
function(kaltor_options target)
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic ${KALTOR_PREFIX_MAP} $<$<CONFIG:Release>:-g1>)
    target_link_options(${target} PRIVATE ${KALTOR_HARDENING_LINK})
    if(KALTOR_UNITY AND CMAKE_CXX_COMPILER_ID STREQUAL GNU)
        # It takes the files in a unity build for headers.
        target_compile_options(${target} PRIVATE -Wno-subobject-linkage)
    endif()
    if(KALTOR_SANITIZE)
        target_compile_options(${target} PRIVATE -fsanitize=${KALTOR_SANITIZE} -fno-omit-frame-pointer
                               -fno-sanitize-recover=all)
        target_link_options(${target} PRIVATE -fsanitize=${KALTOR_SANITIZE})
        if(KALTOR_COVERAGE)
            target_compile_options(${target} PRIVATE -fsanitize=fuzzer-no-link)
        endif()
    else()
        target_compile_options(${target} PRIVATE ${KALTOR_HARDENING})
    endif()
endfunction()

# An object library Kaltor<name> of all sources directly in DIRS. It sees its own folder and the layers that it links.
function(kaltor_layer name)
    cmake_parse_arguments(ARG "" "" "DIRS;LINK" ${ARGN})
    set(sources "")
    foreach(dir IN LISTS ARG_DIRS)
        file(GLOB found CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/${dir}/*.cpp ${PROJECT_SOURCE_DIR}/${dir}/*.h
             ${PROJECT_SOURCE_DIR}/${dir}/Interfaces/*.cpp ${PROJECT_SOURCE_DIR}/${dir}/Interfaces/*.h)
        list(APPEND sources ${found})
    endforeach()
    kaltor_view(${name} ${ARG_DIRS})
    add_library(Kaltor${name} OBJECT ${sources})
    set_target_properties(Kaltor${name} PROPERTIES LINKER_LANGUAGE CXX)
    target_include_directories(Kaltor${name} PUBLIC ${KALTOR_VIEWS}/${name})
    target_link_libraries(Kaltor${name} PUBLIC ${ARG_LINK})
    kaltor_options(Kaltor${name})
endfunction()

# One shared library of several layers. Targets that link it see the views and libraries of all of them.
function(kaltor_shared_library target)
    set(objects "")
    set(layers "")
    foreach(name IN LISTS ARGN)
        list(APPEND objects $<TARGET_OBJECTS:Kaltor${name}>)
        list(APPEND layers $<BUILD_INTERFACE:${KALTOR_VIEWS}/${name}>)
    endforeach()
    add_library(${target} SHARED ${objects})
    set_target_properties(${target} PROPERTIES LINKER_LANGUAGE CXX VERSION ${PROJECT_VERSION} SOVERSION ${KALTOR_ABI})
    target_include_directories(${target} PUBLIC ${layers})
    # Others need what the public headers include.
    target_link_libraries(${target} PUBLIC Boost::headers glm::glm PkgConfig::Epoxy $<BUILD_INTERFACE:fmt::fmt>
                          $<BUILD_INTERFACE:PkgConfig::Av> $<BUILD_INTERFACE:Threads::Threads> PRIVATE ${CMAKE_DL_LIBS})
    target_compile_features(${target} INTERFACE cxx_std_20)
    kaltor_options(${target})
endfunction()
