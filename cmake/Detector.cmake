# The default detector lies where the program looks for it, in the build tree as in the installed one.

set(detector_script ${PROJECT_SOURCE_DIR}/detect_scene_changes.py)
if(APPLE)
    set(built_detector_script ${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/Kestrel.app/Contents/Resources/detect_scene_changes.py)
else()
    set(built_detector_script ${PROJECT_BINARY_DIR}/share/kestrel/detect_scene_changes.py)
    install(PROGRAMS ${detector_script} DESTINATION ${CMAKE_INSTALL_DATADIR}/kestrel)
endif()

add_custom_command(
    OUTPUT ${built_detector_script}
    COMMAND ${CMAKE_COMMAND} -E copy ${detector_script} ${built_detector_script}
    DEPENDS ${detector_script}
    VERBATIM)
add_custom_target(kestrel_detector ALL DEPENDS ${built_detector_script})
