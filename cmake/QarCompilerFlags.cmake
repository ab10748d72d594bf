# Warning and analysis flags shared by every target in the tree.

if(QAR_WERROR)
    add_compile_options(-Wall -Wextra -Werror)
else()
    add_compile_options(-Wall -Wextra)
endif()

# Clang's lock annotations are checked only when asked for (the `clang` preset
# does), and only by clang; GCC would reject the flag.
if(QAR_THREAD_SAFETY_ANALYSIS)
    if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
        add_compile_options(
            "$<$<COMPILE_LANG_AND_ID:CXX,Clang,AppleClang>:-Wthread-safety>"
            "$<$<COMPILE_LANG_AND_ID:C,Clang,AppleClang>:-Wthread-safety>")
    else()
        message(WARNING
            "QAR_THREAD_SAFETY_ANALYSIS is ON but the C++ compiler is "
            "${CMAKE_CXX_COMPILER_ID}; -Wthread-safety needs clang and is left out.")
    endif()
endif()
