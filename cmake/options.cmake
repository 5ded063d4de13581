# What every target is compiled with.
add_library(rehome_options INTERFACE)
target_compile_features(rehome_options INTERFACE cxx_std_20)
target_compile_definitions(
    rehome_options INTERFACE QT_NO_KEYWORDS QT_NO_CAST_TO_ASCII QT_NO_CAST_FROM_ASCII
                             QT_DISABLE_DEPRECATED_BEFORE=0x060400)
target_compile_options(
    rehome_options
    INTERFACE -Wall
              -Wextra
              -Wpedantic
              -Wshadow=local
              -Wnon-virtual-dtor
              -Woverloaded-virtual
              -Wimplicit-fallthrough
              -Wconversion
              -Wno-sign-conversion)
target_include_directories(rehome_options INTERFACE ${PROJECT_SOURCE_DIR}/src)

if(REHOME_WERROR)
    target_compile_options(rehome_options INTERFACE -Werror)
endif()
if(REHOME_SANITIZE)
    target_compile_options(
        rehome_options INTERFACE -fsanitize=address,undefined -fno-sanitize-recover=all
                                 -fno-omit-frame-pointer -O1)
    target_link_options(rehome_options INTERFACE -fsanitize=address,undefined)
endif()

# What is given to people is hardened, and the same whatever folder it is built in.
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
include(CheckPIESupported)
check_pie_supported()
set(optimised $<NOT:$<CONFIG:Debug>>)
set(hardening
    -fstack-protector-strong
    -fstack-clash-protection
    -Wformat
    -Wformat-security
    -U_FORTIFY_SOURCE
    -D_FORTIFY_SOURCE=2
    -D_GLIBCXX_ASSERTIONS)
if(CMAKE_SYSTEM_PROCESSOR MATCHES "x86_64|AMD64|i[3-6]86")
    list(APPEND hardening -fcf-protection)
endif()
target_compile_options(
    rehome_options
    INTERFACE "$<${optimised}:${hardening}>"
              "$<${optimised}:-ffile-prefix-map=${PROJECT_SOURCE_DIR}=.>"
              "$<${optimised}:-ffile-prefix-map=${PROJECT_BINARY_DIR}=./build>")
target_link_options(rehome_options INTERFACE "$<${optimised}:LINKER:-z,relro,-z,now,--as-needed>")
# All libraries are the system's. A search path in a program, with an empty element as CMake leaves one,
# would also load libraries from the current directory.
set(CMAKE_SKIP_RPATH ON)
# The resources' first format holds no times of files.
set(CMAKE_AUTORCC_OPTIONS --format-version 1)
