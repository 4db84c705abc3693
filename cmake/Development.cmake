# The development kit: `cmake --install BUILD --component dev`. Hosts link Kaltor::embed, plug-ins are made by
# kaltor_add_plugin.
include(CMakePackageConfigHelpers)
set(folder ${CMAKE_INSTALL_LIBDIR}/cmake/Kaltor)
set(KALTOR_INCLUDE_FOLDER ${CMAKE_INSTALL_INCLUDEDIR}/kaltor-${KALTOR_ABI})

# What others may include, and nothing else: these headers and those that they include themselves.
set(public
    Conf/FrameInfo.h Conf/IFormatCodecVideo.h Conf/PixFmt.h
    Core/Interfaces/CallStack.h Core/Interfaces/Exception.h Core/Interfaces/Property.h Core/Interfaces/RefCount.h
    Core/Interfaces/Statistics.h
    Ogl/DataVideoOGL.h Ogl/Frame.h Ogl/GLBuffer.h Ogl/GlObject.h Ogl/GlslText.h Ogl/IOglTask.h Ogl/Mesh.h Ogl/Noise.h
    Ogl/Random.h Ogl/Shader.h Ogl/ShaderStorage.h Ogl/Surface.h Ogl/TaskTimer.h Ogl/Texture.h Ogl/VertexLayout.h
    Proc/Effects/Shared/Algorithms.h Proc/Effects/Shared/Blend.h Proc/Effects/Shared/EffectWrapper.h
    Proc/Effects/Shared/OglCache.h Proc/Effects/Shared/Pass.h Proc/Effects/Shared/Progress.h
    Proc/Effects/Shared/QuadBuilders.h Proc/Effects/Shared/Registration.h Proc/Effects/Shared/TransitionWrapper.h
    Proc/Effects/Shared/WrapperBase.h
    Proc/Interfaces/IData.h Proc/Interfaces/IEffect.h Proc/Interfaces/IEffectFactory.h Proc/Interfaces/IEffectRegistry.h
    Proc/Interfaces/IOneInputEffect.h Proc/Interfaces/ISeeded.h Proc/Interfaces/ITwoInputEffect.h
    Proc/Interfaces/TimeToProgress.h
    Proc/Settings/IResize.h Proc/Settings/Settings.h Proc/Settings/SettingsServices.h)
foreach(header IN LISTS public)
    get_filename_component(place ${header} DIRECTORY)
    install(FILES ${PROJECT_SOURCE_DIR}/${header} DESTINATION ${KALTOR_INCLUDE_FOLDER}/${place} COMPONENT dev)
endforeach()
install(FILES ${PROJECT_SOURCE_DIR}/Adapters/Embed/include/kaltor/Embed.h DESTINATION ${KALTOR_INCLUDE_FOLDER}/kaltor
        COMPONENT dev)
set(KALTOR_PUBLIC_HEADERS ${public})

install(TARGETS kaltor KaltorEmbed EXPORT KaltorTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT library NAMELINK_COMPONENT dev
        INCLUDES DESTINATION ${KALTOR_INCLUDE_FOLDER})
install(TARGETS KaltorEffectsShared EXPORT KaltorTargets ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT dev
        INCLUDES DESTINATION ${KALTOR_INCLUDE_FOLDER})
install(EXPORT KaltorTargets NAMESPACE Kaltor:: DESTINATION ${folder} COMPONENT dev)

configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/KaltorConfig.cmake.in ${PROJECT_BINARY_DIR}/KaltorConfig.cmake
                              INSTALL_DESTINATION ${folder} PATH_VARS CMAKE_INSTALL_LIBDIR)
# Before 1.0 each minor version may change the interface.
write_basic_package_version_file(${PROJECT_BINARY_DIR}/KaltorConfigVersion.cmake COMPATIBILITY SameMinorVersion)
file(RELATIVE_PATH KALTOR_PC_TO_PREFIX ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
configure_file(${CMAKE_CURRENT_LIST_DIR}/kaltor.pc.in ${PROJECT_BINARY_DIR}/kaltor.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/KaltorConfig.cmake ${PROJECT_BINARY_DIR}/KaltorConfigVersion.cmake
              ${CMAKE_CURRENT_LIST_DIR}/KaltorPlugin.cmake ${CMAKE_CURRENT_LIST_DIR}/KaltorPlugin.map
        DESTINATION ${folder} COMPONENT dev)
install(FILES ${PROJECT_BINARY_DIR}/kaltor.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT dev)
