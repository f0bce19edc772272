# kestrine_message_module(TARGET SOURCE): builds TARGET.dll, a module of texts only, beside the programs from a message
# compiler's source with texts of one line in one language. On Windows it is an image with a message table, elsewhere a text
# file of the same texts, as the platform reads it (Platform/Posix/Messages.cpp).
function(kestrine_message_module target source)
    cmake_path(ABSOLUTE_PATH source)
    set(module ${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/${target}.dll)
    if(WIN32)
        find_program(CMAKE_MC_COMPILER x86_64-w64-mingw32-windmc REQUIRED)
        add_custom_command(OUTPUT ${module} DEPENDS ${source} VERBATIM
            COMMAND ${CMAKE_MC_COMPILER} -U -h . -r . ${source}
            COMMAND ${CMAKE_RC_COMPILER} ${target}.rc ${target}.o
            COMMAND ${CMAKE_C_COMPILER} -shared -nostdlib -Wl,--entry=0,--no-insert-timestamp ${target}.o -o ${module})
    else()
        set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${source})
        file(READ ${source} content)
        set(texts "")
        string(REGEX MATCHALL "MessageId=0x[^\n]+\nSeverity=[^\n]+\nFacility=[^\n]+\nLanguage=[^\n]+\n[^\n]+" messages "${content}")
        foreach(message IN LISTS messages)
            string(REGEX MATCH "MessageId=(.*)\nSeverity=(.*)\nFacility=(.*)\nLanguage=[^\n]+\n(.*)" matched "${message}")
            set(id ${CMAKE_MATCH_1})
            set(facility ${CMAKE_MATCH_3})
            set(text "${CMAKE_MATCH_4}")
            string(REGEX MATCH "[(; ]${CMAKE_MATCH_2}=(0x[0-9]+)" matched "${content}")
            set(severity ${CMAKE_MATCH_1})
            string(REGEX MATCH "[(; ]${facility}=(0x[0-9]+)" matched "${content}")
            math(EXPR id "${severity} << 30 | ${CMAKE_MATCH_1} << 16 | ${id}" OUTPUT_FORMAT HEXADECIMAL)
            string(APPEND texts "${id} ${text}\n")
        endforeach()
        file(CONFIGURE OUTPUT ${CMAKE_CURRENT_BINARY_DIR}/${target}.dll CONTENT "${texts}" @ONLY)
        add_custom_command(OUTPUT ${module} DEPENDS ${CMAKE_CURRENT_BINARY_DIR}/${target}.dll VERBATIM
            COMMAND ${CMAKE_COMMAND} -E copy ${target}.dll ${module})
    endif()
    add_custom_target(${target} ALL DEPENDS ${module})
endfunction()
