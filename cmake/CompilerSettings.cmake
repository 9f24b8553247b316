# What every target of ours is compiled with.

add_library(kestrel_settings INTERFACE)
target_include_directories(kestrel_settings INTERFACE ${PROJECT_SOURCE_DIR}/macos-app)
target_compile_definitions(kestrel_settings INTERFACE QT_NO_CAST_FROM_ASCII QT_NO_CAST_TO_ASCII QT_NO_FOREACH
                                                      QT_NO_KEYWORDS QT_DISABLE_DEPRECATED_BEFORE=0x060800)
target_compile_options(kestrel_settings INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor
                                                  -Woverloaded-virtual -Wimplicit-fallthrough)
if(KESTREL_WERROR)
    target_compile_options(kestrel_settings INTERFACE -Werror)
endif()
if(KESTREL_SANITIZERS)
    # GCC takes values for uninitialized in code that its sanitizers have changed.
    target_compile_options(kestrel_settings INTERFACE -fsanitize=${KESTREL_SANITIZERS} -fno-omit-frame-pointer
                                                      -fno-sanitize-recover=all -Wno-maybe-uninitialized)
    target_link_options(kestrel_settings INTERFACE -fsanitize=${KESTREL_SANITIZERS})
endif()

# Qt's headers are most of what the compiler reads. What a source forgets to include itself is seen where they are not
# precompiled, as in the preset `release`. A compiler that cannot use them for some target reads the headers as ever.
set(CMAKE_PCH_WARN_INVALID OFF)
function(kestrel_precompile target)
    if(KESTREL_PRECOMPILE)
        target_precompile_headers(${target} ${ARGN})
    endif()
endfunction()
