# Imported targets for the Debian host builds of the Android system libraries.
#
#   android::log     liblog
#   android::cutils  libcutils
#   android::base    libbase (host-only code: the runtime, the tools, the benchmarks)
#
# Debian installs them outside the default linker path (<libdir>/android) with
# their headers under /usr/include/android, so both are looked up explicitly.
# QAR_ANDROID_LIBRARY_DIR is left set for the run-time search path.

if(CMAKE_LIBRARY_ARCHITECTURE)
    set(_qar_android_lib_hints "/usr/lib/${CMAKE_LIBRARY_ARCHITECTURE}/android")
endif()
list(APPEND _qar_android_lib_hints "/usr/lib/x86_64-linux-gnu/android")

# qar_import_android_lib(<target> <library-name> <package> <header-to-probe>)
function(qar_import_android_lib target libname package header)
    string(TOUPPER "${libname}" _upper)
    set(_lib_var "QAR_ANDROID_${_upper}_LIBRARY")
    set(_inc_var "QAR_ANDROID_${_upper}_INCLUDE_DIR")

    find_library(${_lib_var}
        NAMES ${libname}
        HINTS ${_qar_android_lib_hints}
        PATH_SUFFIXES android
        DOC "Host build of Android lib${libname}")
    find_path(${_inc_var}
        NAMES ${header}
        HINTS /usr/include/android
        PATH_SUFFIXES android
        DOC "Include directory of the host build of Android lib${libname}")

    if(NOT ${_lib_var} OR NOT ${_inc_var})
        message(FATAL_ERROR
            "Android host library lib${libname} not found "
            "(library: ${${_lib_var}}, headers: ${${_inc_var}}). "
            "Run scripts/setup.sh to install ${package}.")
    endif()

    add_library(${target} SHARED IMPORTED GLOBAL)
    set_target_properties(${target} PROPERTIES
        IMPORTED_LOCATION "${${_lib_var}}"
        INTERFACE_INCLUDE_DIRECTORIES "${${_inc_var}}")
endfunction()

qar_import_android_lib(android::log log android-liblog-dev log/log.h)
qar_import_android_lib(android::cutils cutils android-libcutils-dev cutils/properties.h)
qar_import_android_lib(android::base base android-libbase-dev android-base/file.h)

get_filename_component(QAR_ANDROID_LIBRARY_DIR "${QAR_ANDROID_LOG_LIBRARY}" DIRECTORY)
unset(_qar_android_lib_hints)
