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
