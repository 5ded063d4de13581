# The icons in the sizes that desktops ask for, REHOME_ICONS/<icon>/<size>.png, each icon drawn from
# packaging/<icon>.svg.
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
foreach(icon rehome rehome-rehearsal)
    file(MAKE_DIRECTORY ${REHOME_ICONS}/${icon})
    set(drawing ${PROJECT_SOURCE_DIR}/packaging/${icon}.svg)
    set(files)
    foreach(size ${REHOME_ICON_SIZES})
        set(file ${REHOME_ICONS}/${icon}/${size}.png)
        add_custom_command(
            OUTPUT ${file}
            COMMAND ${RSVG_CONVERT} --width ${size} --height ${size} --output ${file} ${drawing}
            DEPENDS ${drawing}
            VERBATIM)
        list(APPEND files ${file})
    endforeach()
    add_custom_target(${icon}_icon ALL DEPENDS ${files})
endforeach()

# add_rehome_icon(PROGRAM ICON): the program has the icon in its resources.
function(add_rehome_icon program icon)
    set(files ${REHOME_ICON_SIZES})
    list(TRANSFORM files REPLACE "(.+)" "${REHOME_ICONS}/${icon}/\\1.png")
    qt_add_resources(
        ${program} ${program}_icon
        PREFIX /rehome/icon
        BASE ${REHOME_ICONS}/${icon}
        FILES ${files}
        OPTIONS --format-version 1)
    add_dependencies(${program} ${icon}_icon)
endfunction()
