# The menu entry, the icons, the software centre's description and the manual page.

# A program without the message bus cannot be activated over it.
find_package(Qt6 6.4 QUIET OPTIONAL_COMPONENTS DBus)
set(is_activatable false)
if(TARGET Qt6::DBus)
    set(is_activatable true)
    # The prefix is known only when it is installed.
    set(service ${CMAKE_CURRENT_BINARY_DIR}/${application_id}.service)
    install(CODE "set(executable \"\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_BINDIR}/kestrel\")
set(application_id ${application_id})
configure_file(\"${CMAKE_CURRENT_SOURCE_DIR}/linux/kestrel.service.in\" \"${service}\" @ONLY)")
    install(FILES ${service} DESTINATION ${CMAKE_INSTALL_DATADIR}/dbus-1/services)
endif()
configure_file(linux/kestrel.desktop.in ${application_id}.desktop @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${application_id}.desktop DESTINATION ${CMAKE_INSTALL_DATADIR}/applications)

set(icons ${CMAKE_INSTALL_DATADIR}/icons/hicolor)
install(FILES icons/kestrel.svg DESTINATION ${icons}/scalable/apps)
foreach(size IN ITEMS 16 22 24 32 48 64 128 256 512)
    install(FILES icons/kestrel-${size}.png DESTINATION ${icons}/${size}x${size}/apps RENAME kestrel.png)
endforeach()

configure_file(linux/metainfo.xml.in ${application_id}.metainfo.xml @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${application_id}.metainfo.xml
        DESTINATION ${CMAKE_INSTALL_DATADIR}/metainfo)

find_program(GZIP_PROGRAM gzip REQUIRED)

# Installs a file compressed as Debian wants it: the best way, without a name and a time.
function(install_compressed file destination)
    get_filename_component(name ${file} NAME)
    set(compressed ${CMAKE_CURRENT_BINARY_DIR}/${name}.gz)
    add_custom_command(
        OUTPUT ${compressed}
        COMMAND sh -c "\"$1\" -9nc \"$2\" >\"$3\"" compress ${GZIP_PROGRAM} ${file} ${compressed}
        DEPENDS ${file}
        VERBATIM)
    add_custom_target(compress_${name} ALL DEPENDS ${compressed})
    install(FILES ${compressed} DESTINATION ${destination} ${ARGN})
endfunction()

foreach(page IN ITEMS kestrel.1 kestrel-batch.1)
    configure_file(linux/${page}.in ${page} @ONLY)
    install_compressed(${CMAKE_CURRENT_BINARY_DIR}/${page} ${CMAKE_INSTALL_MANDIR}/man1)
endforeach()
install(FILES linux/completions/kestrel-batch DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
install(FILES linux/completions/_kestrel-batch DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions)

if(KESTREL_TESTS)
    find_program(DESKTOP_FILE_VALIDATE desktop-file-validate)
    if(DESKTOP_FILE_VALIDATE)
        add_test(NAME DesktopEntry COMMAND ${DESKTOP_FILE_VALIDATE} 
                                           ${CMAKE_CURRENT_BINARY_DIR}/${application_id}.desktop)
    endif()
    find_program(APPSTREAMCLI appstreamcli)
    if(APPSTREAMCLI)
        add_test(NAME Metainfo COMMAND ${APPSTREAMCLI} validate --no-net --pedantic
                                       ${CMAKE_CURRENT_BINARY_DIR}/${application_id}.metainfo.xml)
    endif()
endif()
