# The Debian packages, one for each group of components. scripts/package makes them.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME kaltor)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_VENDOR "")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_CURRENT_LIST_DIR}/FinishPackages.cmake)
set(CPACK_THREADS 0)

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(KALTOR_MAINTAINER "Kaltor developers <kaltor@example.org>" CACHE STRING "Maintainer of the packages: NAME <ADDRESS>")
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "${KALTOR_MAINTAINER}")
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY "=")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING ONE_PER_GROUP)
set(CPACK_COMPONENTS_ALL program library dev frei0r kdenlive)

# kaltor_package(NAME COMPONENTS ... SECTION ... SUMMARY ... DESCRIPTION ... [DEPENDS ...])
function(kaltor_package name)
    cmake_parse_arguments(ARG "" "SECTION;SUMMARY;DESCRIPTION" "COMPONENTS;DEPENDS;RECOMMENDS" ${ARGN})
    string(REPLACE "+" "_" group ${name})
    foreach(component IN LISTS ARG_COMPONENTS)
        string(TOUPPER ${component} upper)
        set(CPACK_COMPONENT_${upper}_GROUP ${group} PARENT_SCOPE)
    endforeach()
    string(TOUPPER ${group} upper)
    string(JOIN ", " depends ${ARG_DEPENDS})
    string(JOIN ", " recommends ${ARG_RECOMMENDS})
    set(CPACK_COMPONENT_GROUP_${upper}_DESCRIPTION "${ARG_SUMMARY}" PARENT_SCOPE)
    set(CPACK_COMPONENT_${upper}_DESCRIPTION "${ARG_SUMMARY}\n${ARG_DESCRIPTION}" PARENT_SCOPE)
    set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${name} PARENT_SCOPE)
    set(CPACK_DEBIAN_${upper}_PACKAGE_SECTION ${ARG_SECTION} PARENT_SCOPE)
    set(CPACK_DEBIAN_${upper}_PACKAGE_DEPENDS "${depends}" PARENT_SCOPE)
    set(CPACK_DEBIAN_${upper}_PACKAGE_RECOMMENDS "${recommends}" PARENT_SCOPE)
endfunction()

set(library "libkaltor0 (= ${PROJECT_VERSION})")
kaltor_package(kaltor COMPONENTS program SECTION video DEPENDS ${library} RECOMMENDS fonts-dejavu-core
    SUMMARY "GPU video effects and transitions for pictures and videos"
    DESCRIPTION "The command kaltor applies effects to pictures, joins clips by transitions,
and renders edits with titles, overlays and sound.")
kaltor_package(libkaltor0 COMPONENTS library SECTION libs
    DEPENDS libegl1 libgl1 libegl-mesa0 libgl1-mesa-dri
    SUMMARY "GPU video effects and transitions (library)"
    DESCRIPTION "The library that programs and plug-ins link, and the plug-in with the
standard effects and transitions.")
kaltor_package(libkaltor-dev COMPONENTS dev SECTION libdevel
    DEPENDS ${library} libboost-dev libepoxy-dev libegl-dev libglm-dev
    SUMMARY "GPU video effects and transitions (development files)"
    DESCRIPTION "What is needed to build programs that use the effects of Kaltor, and
plug-ins with effects for it.")
kaltor_package(frei0r-plugins-kaltor COMPONENTS frei0r kdenlive SECTION video DEPENDS ${library}
    SUMMARY "GPU video effects and transitions for FFmpeg, MLT and GStreamer"
    DESCRIPTION "The effects of Kaltor as frei0r plug-ins, with their descriptions for
Kdenlive.")

include(CPack)
