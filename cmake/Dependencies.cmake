# Every third-party package the build uses, found once here.
find_package(Threads REQUIRED)
find_package(nlohmann_json 3.10 REQUIRED)
find_package(CURL REQUIRED)

if(WINDLARK_BUILD_TESTS)
    find_package(GTest REQUIRED)
endif()
if(WINDLARK_BUILD_BENCHMARKS)
    find_package(benchmark REQUIRED)
endif()

# The interface: Widgets for the panel and windows, Network for the local socket that
# keeps one instance per session. Only windlark_ui and the executable link them.
find_package(Qt6 6.4 REQUIRED COMPONENTS Widgets Network)
if(WINDLARK_BUILD_TESTS)
    find_package(Qt6 6.4 REQUIRED COMPONENTS Test)
endif()

# The kernel's hardware monitors on Linux: libsensors finds the chips and applies the
# user's sensors.conf. Only windlark_platform links it. umockdev lets the tests and the
# benchmark run the real library over a mocked /sys, without root or hardware.
if(NOT APPLE)
    find_path(SENSORS_INCLUDE_DIR sensors/sensors.h REQUIRED)
    find_library(SENSORS_LIBRARY sensors REQUIRED)
    add_library(Sensors::sensors UNKNOWN IMPORTED)
    set_target_properties(Sensors::sensors PROPERTIES
        IMPORTED_LOCATION ${SENSORS_LIBRARY}
        INTERFACE_INCLUDE_DIRECTORIES ${SENSORS_INCLUDE_DIR})
    if(WINDLARK_BUILD_TESTS OR WINDLARK_BUILD_BENCHMARKS)
        find_package(PkgConfig REQUIRED)
        pkg_check_modules(UMOCKDEV REQUIRED IMPORTED_TARGET umockdev-1.0)
    endif()
endif()
