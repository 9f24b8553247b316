# Kestrel.app: what the bundle says about itself, and its icon. It claims no documents.

configure_file(macos/Info.plist.in Info.plist @ONLY)
set(icon ${CMAKE_CURRENT_SOURCE_DIR}/macos/Kestrel.icns)
target_sources(kestrel PRIVATE ${icon})
set_source_files_properties(${icon} TARGET_DIRECTORY kestrel PROPERTIES MACOSX_PACKAGE_LOCATION Resources)
set_target_properties(kestrel PROPERTIES OUTPUT_NAME Kestrel
                                         MACOSX_BUNDLE_INFO_PLIST ${CMAKE_CURRENT_BINARY_DIR}/Info.plist)
