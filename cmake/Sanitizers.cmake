# WINDLARK_SANITIZE: "" (off), "address" (ASan + UBSan) or "thread" (TSan).
# WINDLARK_COVERAGE: instrument for gcov / llvm-cov line coverage.
set(WINDLARK_SANITIZE "" CACHE STRING "Sanitizer build: empty, address or thread")
option(WINDLARK_COVERAGE "Build with coverage instrumentation" OFF)

if(WINDLARK_SANITIZE STREQUAL "address")
    set(_windlark_san_flags -fsanitize=address,undefined -fno-sanitize-recover=all
                            -fno-omit-frame-pointer)
elseif(WINDLARK_SANITIZE STREQUAL "thread")
    set(_windlark_san_flags -fsanitize=thread -fno-omit-frame-pointer)
elseif(NOT WINDLARK_SANITIZE STREQUAL "")
    message(FATAL_ERROR "Unknown WINDLARK_SANITIZE value: ${WINDLARK_SANITIZE}")
endif()

if(_windlark_san_flags)
    add_compile_options(${_windlark_san_flags})
    add_link_options(${_windlark_san_flags})
endif()

if(WINDLARK_COVERAGE)
    add_compile_options(--coverage -O0 -g)
    add_link_options(--coverage)
endif()

# The fuzzers need the whole program instrumented for coverage, not just the entry points.
if(WINDLARK_BUILD_FUZZERS)
    add_compile_options(-fsanitize=fuzzer-no-link)
endif()
