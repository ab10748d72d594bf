# qar_glob_sources(<out-var> <pattern>...)
# Sorted list of files matching the patterns. The glob is re-checked at build
# time, so files added later trigger a re-configure without touching CMake.
function(qar_glob_sources out)
    file(GLOB _found CONFIGURE_DEPENDS ${ARGN})
    list(SORT _found)
    set(${out} "${_found}" PARENT_SCOPE)
endfunction()
