# What every target is compiled with.
add_library(rehome_options INTERFACE)
target_compile_features(rehome_options INTERFACE cxx_std_20)
target_compile_definitions(
    rehome_options INTERFACE QT_NO_KEYWORDS QT_NO_CAST_TO_ASCII QT_NO_CAST_FROM_ASCII
                             QT_DISABLE_DEPRECATED_BEFORE=0x060400)
target_compile_options(
    rehome_options INTERFACE -Wall -Wextra -Wpedantic -Wshadow=local -Wnon-virtual-dtor
                             -Woverloaded-virtual -Wimplicit-fallthrough -Wconversion
                             -Wno-sign-conversion)
target_include_directories(rehome_options INTERFACE ${PROJECT_SOURCE_DIR}/src)

if(REHOME_WERROR)
    target_compile_options(rehome_options INTERFACE -Werror)
endif()
if(REHOME_SANITIZE)
    target_compile_options(rehome_options INTERFACE -fsanitize=address,undefined
                                                    -fno-sanitize-recover=all
                                                    -fno-omit-frame-pointer -O1)
    target_link_options(rehome_options INTERFACE -fsanitize=address,undefined)
endif()
