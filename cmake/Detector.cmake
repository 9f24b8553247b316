# The default detector, a script and the package beside it, lies where the program looks for it, in the build tree as in
# the installed one. The package is byte-compiled, so that a start does not compile it anew; the bytecode is told by the
# contents of its source, not by a file's time, which copying may change.

find_package(Python3 REQUIRED COMPONENTS Interpreter)

set(detector_script ${PROJECT_SOURCE_DIR}/detect_scene_changes.py)
file(GLOB detector_modules CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/kestrel_detector/*.py)
if(APPLE)
    set(built_detector ${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/Kestrel.app/Contents/Resources)
else()
    set(built_detector ${PROJECT_BINARY_DIR}/share/kestrel)
    install(PROGRAMS ${detector_script} DESTINATION ${CMAKE_INSTALL_DATADIR}/kestrel)
    install(FILES ${detector_modules} DESTINATION ${CMAKE_INSTALL_DATADIR}/kestrel/kestrel_detector)
    # A component of its own, because the Debian package's bytecode is made on the user's machine.
    install(DIRECTORY ${built_detector}/kestrel_detector/__pycache__
            DESTINATION ${CMAKE_INSTALL_DATADIR}/kestrel/kestrel_detector COMPONENT bytecode)
endif()
set(built_detector_script ${built_detector}/detect_scene_changes.py)
set(built_detector_modules ${built_detector}/kestrel_detector)

add_custom_command(
    OUTPUT ${built_detector_script}
    COMMAND ${CMAKE_COMMAND} -E rm -rf ${built_detector_modules}
    COMMAND ${CMAKE_COMMAND} -E make_directory ${built_detector_modules}
    COMMAND ${CMAKE_COMMAND} -E copy ${detector_modules} ${built_detector_modules}
    COMMAND ${Python3_EXECUTABLE} -m compileall -q --invalidation-mode checked-hash ${built_detector_modules}
    COMMAND ${CMAKE_COMMAND} -E copy ${detector_script} ${built_detector_script}
    DEPENDS ${detector_script} ${detector_modules}
    VERBATIM)
add_custom_target(kestrel_detector ALL DEPENDS ${built_detector_script})
