# libFuzzer targets. The `fuzz` preset compiles everything with
# -fsanitize=fuzzer-no-link so the whole tree carries coverage instrumentation;
# only the fuzzer executables themselves link the libFuzzer driver.

if(NOT CMAKE_CXX_COMPILER_ID MATCHES "Clang")
    message(FATAL_ERROR
        "QAR_BUILD_FUZZERS needs clang (libFuzzer); configure with the `fuzz` preset.")
endif()

# qar_add_fuzzer(<name> SOURCES <file>... [LINK <lib>...] [INCLUDES <dir>...] [SEEDS <dir>]
#                [RUNS <n>] [SECONDS <s>] [ARGS <libFuzzer flag>...])
# Adds the fuzzer executable and a ctest run of it: <s> seconds of fuzzing when SECONDS is given,
# else <n> inputs (default 2000). The test's timeout leaves room for start-up, the seeds and a slow
# sanitized build; a single input that runs for 30 s is reported as a hang. ARGS go to the run as
# they are. Seeds are read from
# SEEDS but never written back: new inputs go to a scratch corpus in the build tree.
function(qar_add_fuzzer name)
    cmake_parse_arguments(PARSE_ARGV 1 ARG "" "SEEDS;RUNS;SECONDS" "SOURCES;LINK;INCLUDES;ARGS")
    if(NOT ARG_RUNS AND NOT ARG_SECONDS)
        set(ARG_RUNS 2000)
    endif()

    add_executable(${name} ${ARG_SOURCES})
    target_link_libraries(${name} PRIVATE ${ARG_LINK})
    target_include_directories(${name} PRIVATE ${ARG_INCLUDES})
    target_link_options(${name} PRIVATE -fsanitize=fuzzer)

    set(_scratch "${CMAKE_CURRENT_BINARY_DIR}/${name}.corpus")
    file(MAKE_DIRECTORY "${_scratch}")
    set(_dirs "${_scratch}")
    if(ARG_SEEDS)
        list(APPEND _dirs "${ARG_SEEDS}")
    endif()

    set(_budget -timeout=30 -print_final_stats=1)
    set(_timeout 300)
    if(ARG_SECONDS)
        list(APPEND _budget -max_total_time=${ARG_SECONDS})
        math(EXPR _timeout "${ARG_SECONDS} * 2 + 120")
    endif()
    if(ARG_RUNS)
        list(APPEND _budget -runs=${ARG_RUNS})
    endif()
    add_test(NAME ${name}.smoke COMMAND ${name} ${_budget} ${ARG_ARGS} ${_dirs})
    set_tests_properties(${name}.smoke PROPERTIES TIMEOUT ${_timeout})
endfunction()
