# What every target is compiled with.
add_library(KestrineCompiler INTERFACE)
target_include_directories(KestrineCompiler INTERFACE ${PROJECT_SOURCE_DIR})
set(options
    -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror
    # Source paths in the log and in the binaries are relative to the project, wherever it was built.
    -ffile-prefix-map=${PROJECT_SOURCE_DIR}/= -ffile-prefix-map=${PROJECT_BINARY_DIR}=build)
target_compile_options(KestrineCompiler INTERFACE "$<$<COMPILE_LANGUAGE:C,CXX>:${options}>")

if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND NOT WIN32)
    # A library with unique symbols never unloads; the module must.
    target_compile_options(KestrineCompiler INTERFACE $<$<COMPILE_LANGUAGE:CXX>:-fno-gnu-unique>)
endif()

if(KESTRINE_PRECOMPILE)
    # Several sources are compiled as one: their anonymous namespaces then look like a header's, and what one of them names
    # for its own use is shadowed in the next.
    target_compile_options(KestrineCompiler INTERFACE $<$<COMPILE_LANGUAGE:CXX>:-Wno-shadow>
        $<$<COMPILE_LANG_AND_ID:CXX,GNU>:-Wno-subobject-linkage>)
    if(CMAKE_BUILD_TYPE STREQUAL "Debug")
        target_compile_options(KestrineCompiler INTERFACE -g1) # lines and functions
    endif()
endif()

# kestrine_compile_fast(TARGET PRIVATE HEADER... | REUSE_FROM TARGET): for what is no part of the product and need not be
# fast itself; the headers are compiled once.
function(kestrine_compile_fast target)
    if(KESTRINE_PRECOMPILE)
        if(WIN32)
            # GNU ld takes quadratic time over an object's sections, which are a tenth as many with -O1. The warnings are
            # g++ 12's of library code that it then inlines.
            target_compile_options(${target} PRIVATE -O1 -Wno-array-bounds -Wno-stringop-overread
                -Wno-mismatched-new-delete -Wno-free-nonheap-object -Wno-maybe-uninitialized)
        else()
            target_compile_options(${target} PRIVATE -O0)
        endif()
        target_compile_options(${target} PRIVATE -U_FORTIFY_SOURCE -g1)
        target_precompile_headers(${target} ${ARGN})
    endif()
endfunction()

if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    target_compile_options(KestrineCompiler INTERFACE $<$<COMPILE_LANGUAGE:CXX>:-Wthread-safety>)
endif()

if(KESTRINE_SANITIZE)
    target_compile_options(KestrineCompiler INTERFACE
        -fsanitize=${KESTRINE_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all
        # Interfaces may be implemented by hosts in other languages, whose objects carry no C++ type information.
        -fno-sanitize=vptr
        # The run-times take what lies before a loaded module's thread-local block for its header when the block begins
        # 16 bytes behind a page's start, and break down over it now and then.
        -ftls-model=initial-exec)
    target_link_options(KestrineCompiler INTERFACE -fsanitize=${KESTRINE_SANITIZE})
endif()

if(CMAKE_BUILD_TYPE STREQUAL "RelWithDebInfo" AND NOT KESTRINE_SANITIZE)
    # What is delivered is hardened; Scripts/check-hardening looks at the result.
    target_compile_options(KestrineCompiler INTERFACE -fstack-protector-strong)
    target_link_options(KestrineCompiler INTERFACE -fstack-protector-strong)
    if(NOT WIN32)
        target_compile_options(KestrineCompiler INTERFACE -fcf-protection -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2
            # Moving a short wide string looks to g++ 12 like writing past its end.
            -Wno-attribute-warning)
        target_link_options(KestrineCompiler INTERFACE -Wl,-z,relro -Wl,-z,now)
    endif()
endif()

if(WIN32)
    # The module brings its compiler run-time along, and two builds of one commit are the same.
    target_link_options(KestrineCompiler INTERFACE -static -Wl,--no-insert-timestamp)
else()
    if(NOT KESTRINE_SANITIZE)
        # Sanitizers leave their run-time to the main program.
        target_link_options(KestrineCompiler INTERFACE -Wl,--no-undefined)
    endif()
    set(CMAKE_BUILD_RPATH_USE_ORIGIN ON)
    set(CMAKE_BUILD_RPATH $ORIGIN)
    set(CMAKE_INSTALL_RPATH $ORIGIN)
endif()
