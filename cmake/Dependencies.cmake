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
