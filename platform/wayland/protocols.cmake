# Wayland protocol code, generated with wayland-scanner at build time from the protocol XML:
# what wayland-protocols ships is read from its installed folder, the rest is vendored under
# third_party/.
find_package(PkgConfig REQUIRED)
pkg_check_modules(TARN_WAYLAND REQUIRED IMPORTED_TARGET GLOBAL wayland-client xkbcommon)
pkg_get_variable(TARN_WAYLAND_SCANNER wayland-scanner wayland_scanner)
pkg_get_variable(TARN_WAYLAND_PROTOCOLS_DIR wayland-protocols pkgdatadir)
if(NOT TARN_WAYLAND_SCANNER OR NOT TARN_WAYLAND_PROTOCOLS_DIR)
    message(FATAL_ERROR "Wayland: wayland-scanner or wayland-protocols is missing "
                        "(scripts/setup installs them)")
endif()
set(TARN_WLR_PROTOCOLS_DIR ${CMAKE_SOURCE_DIR}/third_party/wlr-protocols)
# Seen from every directory (the tests generate protocols too).
foreach(variable TARN_WAYLAND_SCANNER TARN_WAYLAND_PROTOCOLS_DIR TARN_WLR_PROTOCOLS_DIR)
    set(${variable} ${${variable}} CACHE INTERNAL "")
endforeach()

# tarn_wayland_protocols(TARGET XML...): each protocol's client header (NAME-client-protocol.h,
# on TARGET's include path) and its glue code, compiled into TARGET. Each target gets its own
# copy, so two targets may use the same protocol.
function(tarn_wayland_protocols target)
    set(dir ${CMAKE_CURRENT_BINARY_DIR}/${target}-protocols)
    foreach(xml ${ARGN})
        get_filename_component(name ${xml} NAME_WE)
        set(header ${dir}/${name}-client-protocol.h)
        set(code ${dir}/${name}-protocol.c)
        add_custom_command(OUTPUT ${header}
            COMMAND ${CMAKE_COMMAND} -E make_directory ${dir}
            COMMAND ${TARN_WAYLAND_SCANNER} client-header ${xml} ${header}
            DEPENDS ${xml} VERBATIM)
        add_custom_command(OUTPUT ${code}
            COMMAND ${CMAKE_COMMAND} -E make_directory ${dir}
            COMMAND ${TARN_WAYLAND_SCANNER} private-code ${xml} ${code}
            DEPENDS ${xml} VERBATIM)
        target_sources(${target} PRIVATE ${header} ${code})
    endforeach()
    target_include_directories(${target} PRIVATE ${dir})
endfunction()
