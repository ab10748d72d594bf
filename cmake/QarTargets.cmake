# Helpers that let the tree configure while parts of it are still being written.

# qar_glob_sources(<out-var> <pattern>...)
# Sorted list of files matching the patterns. The glob is re-checked at build
# time, so files added later trigger a re-configure without touching CMake.
function(qar_glob_sources out)
    file(GLOB _found CONFIGURE_DEPENDS ${ARGN})
    list(SORT _found)
    set(${out} "${_found}" PARENT_SCOPE)
endfunction()

# qar_can_build(<out-var> <target-name> SOURCES <file>... [TARGETS <target>...])
# Sets <out-var> to TRUE when there is at least one source and every listed
# dependency target exists; otherwise FALSE, with a status line saying why
# <target-name> is being left out.
function(qar_can_build out name)
    cmake_parse_arguments(PARSE_ARGV 2 ARG "" "" "SOURCES;TARGETS")
    if(NOT ARG_SOURCES)
        message(STATUS "${name}: no sources yet, target skipped")
        set(${out} FALSE PARENT_SCOPE)
        return()
    endif()
    foreach(dep IN LISTS ARG_TARGETS)
        if(NOT TARGET ${dep})
            message(STATUS "${name}: needs ${dep}, which is not defined yet; target skipped")
            set(${out} FALSE PARENT_SCOPE)
            return()
        endif()
    endforeach()
    set(${out} TRUE PARENT_SCOPE)
endfunction()
