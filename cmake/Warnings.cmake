# Project-wide compile options, attached to every target through windlark_options.
add_library(windlark_options INTERFACE)
target_compile_features(windlark_options INTERFACE cxx_std_20)

if(MSVC)
    target_compile_options(windlark_options INTERFACE /W4)
else()
    target_compile_options(windlark_options INTERFACE
        -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion)
    if(WINDLARK_WERROR)
        target_compile_options(windlark_options INTERFACE -Werror)
    endif()
endif()
