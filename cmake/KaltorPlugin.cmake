# kaltor_add_plugin(NAME SOURCE...): a plug-in NAME.so, which exports its entry point and nothing else. It is installed to
# where the program that it is made for looks.
function(kaltor_add_plugin name)
    add_library(${name} MODULE ${ARGN})
    target_link_libraries(${name} PRIVATE Kaltor::effects)
    target_compile_features(${name} PRIVATE cxx_std_20)
    set_target_properties(${name} PROPERTIES PREFIX "" CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
    target_link_options(${name} PRIVATE -Wl,--no-undefined
                        -Wl,--version-script=${CMAKE_CURRENT_FUNCTION_LIST_DIR}/KaltorPlugin.map)
    install(TARGETS ${name} LIBRARY DESTINATION ${Kaltor_PLUGIN_FOLDER})
endfunction()
