# The icon in the sizes that desktops ask for, REHOME_ICONS/<size>.png, drawn from its one source.
find_program(RSVG_CONVERT rsvg-convert REQUIRED)
set(REHOME_ICON_SIZES
    16
    22
    24
    32
    48
    64
    128
    256)
set(REHOME_ICONS ${PROJECT_BINARY_DIR}/icons)
file(MAKE_DIRECTORY ${REHOME_ICONS})
foreach(size ${REHOME_ICON_SIZES})
    add_custom_command(
        OUTPUT ${REHOME_ICONS}/${size}.png
        COMMAND ${RSVG_CONVERT} --width ${size} --height ${size} --output
                ${REHOME_ICONS}/${size}.png ${PROJECT_SOURCE_DIR}/packaging/rehome.svg
        DEPENDS ${PROJECT_SOURCE_DIR}/packaging/rehome.svg
        VERBATIM)
    list(APPEND REHOME_ICON_FILES ${REHOME_ICONS}/${size}.png)
endforeach()
add_custom_target(rehome_icons ALL DEPENDS ${REHOME_ICON_FILES})
