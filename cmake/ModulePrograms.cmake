# windlark_module_programs(<prefix> <output folder> [libraries...])
# Every <module>_<what>.cpp of the calling folder becomes the program <prefix>_<name>,
# linked to the module its name starts with (curve_history.cpp -> windlark_curve), or to
# the whole program when no such module exists, plus the given libraries. Programs can
# include the test fakes. The created targets are returned in WINDLARK_PROGRAMS.
function(windlark_module_programs prefix output)
    file(GLOB sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp)
    set(targets)
    foreach(source ${sources})
        get_filename_component(name ${source} NAME_WE)
        string(REGEX MATCH "^[a-z]+" module ${name})
        if(TARGET windlark_${module})
            set(libraries windlark_${module})
        else()
            set(libraries windlark_platform windlark_core)
        endif()
        set(target ${prefix}_${name})
        add_executable(${target} ${source})
        target_include_directories(${target} PRIVATE ${PROJECT_SOURCE_DIR}/tests)
        target_link_libraries(${target} PRIVATE ${libraries} windlark_options ${ARGN})
        set_target_properties(${target} PROPERTIES
            OUTPUT_NAME ${name}
            RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/${output})
        list(APPEND targets ${target})
    endforeach()
    set(WINDLARK_PROGRAMS ${targets} PARENT_SCOPE)
endfunction()
