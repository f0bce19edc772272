# What the programs and the tests are built from: GoogleTest, SQLite, nlohmann_json and CLI11. Natively they are the
# system's packages. For Windows, GoogleTest is built from the sources that the system has, SQLite from those that
# Scripts/setup fetches, and the header-only libraries are reached through links: the system's include folder as a whole
# must stay out of the cross compiler's sight.
if(NOT WIN32)
    if(KESTRINE_TESTS)
        find_package(GTest REQUIRED)
    endif()
    if(KESTRINE_HOST OR KESTRINE_TESTS)
        find_package(SQLite3 REQUIRED)
        find_package(nlohmann_json REQUIRED)
    endif()
    find_package(CLI11 REQUIRED)
    return()
endif()

# kestrine_find_source(VARIABLE FILE PATH): the folder that has FILE, which must be there.
function(kestrine_find_source variable file)
    find_path(${variable} ${file} PATHS ${ARGN} NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH REQUIRED
        DOC "Folder with ${file}; 'Scripts/setup windows' provides it")
endfunction()

function(kestrine_header_library name folder)
    kestrine_find_source(KESTRINE_${folder}_INCLUDE ${folder}/${ARGN} /usr/include)
    file(MAKE_DIRECTORY ${CMAKE_BINARY_DIR}/include/${folder})
    file(CREATE_LINK ${KESTRINE_${folder}_INCLUDE}/${folder} ${CMAKE_BINARY_DIR}/include/${folder}/${folder} SYMBOLIC)
    add_library(${name} INTERFACE IMPORTED)
    target_include_directories(${name} SYSTEM INTERFACE ${CMAKE_BINARY_DIR}/include/${folder})
endfunction()

if(KESTRINE_TESTS)
    kestrine_find_source(KESTRINE_GTEST_SOURCE googletest/CMakeLists.txt /usr/src/googletest)
    set(INSTALL_GTEST OFF)
    add_subdirectory(${KESTRINE_GTEST_SOURCE} ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL SYSTEM)
    foreach(target gtest gtest_main gmock)
        target_compile_options(${target} PRIVATE -O0 -g0)
    endforeach()
endif()
if(KESTRINE_HOST OR KESTRINE_TESTS)
    kestrine_header_library(nlohmann_json::nlohmann_json nlohmann json.hpp)
    kestrine_find_source(KESTRINE_SQLITE_SOURCE sqlite3.c ${PROJECT_SOURCE_DIR}/build/packages/sqlite3)
    add_library(Sqlite STATIC ${KESTRINE_SQLITE_SOURCE}/sqlite3.c)
    target_include_directories(Sqlite SYSTEM PUBLIC ${KESTRINE_SQLITE_SOURCE})
    target_compile_definitions(Sqlite PRIVATE SQLITE_OMIT_LOAD_EXTENSION SQLITE_DQS=0)
    target_compile_options(Sqlite PRIVATE -O0 -g0)
    add_library(SQLite::SQLite3 ALIAS Sqlite)
endif()
kestrine_header_library(CLI11::CLI11 CLI CLI.hpp)
