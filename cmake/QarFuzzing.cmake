# libFuzzer targets. The `fuzz` preset compiles everything with
# -fsanitize=fuzzer-no-link so the whole tree carries coverage instrumentation;
# only the fuzzer executables themselves link the libFuzzer driver.

if(NOT CMAKE_CXX_COMPILER_ID MATCHES "Clang")
    message(FATAL_ERROR
        "QAR_BUILD_FUZZERS needs clang (libFuzzer); configure with the `fuzz` preset.")
endif()

# qar_add_fuzzer(<name> SOURCES <file>... [LINK <lib>...] [SEEDS <dir>] [RUNS <n>])
# Adds the fuzzer executable and a short ctest run of it (<n> inputs, default
# 2000). Seeds are read from SEEDS but never written back: new inputs go to a
# scratch corpus in the build tree.
function(qar_add_fuzzer name)
    cmake_parse_arguments(PARSE_ARGV 1 ARG "" "SEEDS;RUNS" "SOURCES;LINK")
    if(NOT ARG_RUNS)
        set(ARG_RUNS 2000)
    endif()

    add_executable(${name} ${ARG_SOURCES})
    target_link_libraries(${name} PRIVATE ${ARG_LINK})
    target_link_options(${name} PRIVATE -fsanitize=fuzzer)

    set(_scratch "${CMAKE_CURRENT_BINARY_DIR}/${name}.corpus")
    file(MAKE_DIRECTORY "${_scratch}")
    set(_dirs "${_scratch}")
    if(ARG_SEEDS)
        list(APPEND _dirs "${ARG_SEEDS}")
    endif()
    add_test(NAME ${name}.smoke
        COMMAND ${name} -runs=${ARG_RUNS} ${_dirs})
endfunction()
