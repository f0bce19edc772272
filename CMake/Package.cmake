# What a host team gets: the module and kestrine-log, their symbols in files of their own, the interfaces, samples and
# documentation.
include(CMakePackageConfigHelpers)

# Everything that a package holds: the package is made of that alone, without building what it does not hold.
add_custom_target(Packaged)
set(CMAKE_SKIP_INSTALL_ALL_DEPENDENCY ON)

# Installs what a target makes, a file of the name given, without its symbols, and the symbols in a folder of their own.
function(kestrine_install target file)
    set(stripped ${PROJECT_BINARY_DIR}/package/${file})
    # Without the variable it puts the time of the day into a DLL.
    set(objcopy ${CMAKE_COMMAND} -E env SOURCE_DATE_EPOCH=0 ${CMAKE_OBJCOPY})
    add_custom_command(OUTPUT ${stripped} ${stripped}.debug DEPENDS ${target} VERBATIM
        COMMAND ${CMAKE_COMMAND} -E make_directory ${PROJECT_BINARY_DIR}/package
        COMMAND ${objcopy} --only-keep-debug $<TARGET_FILE:${target}> ${stripped}.debug
        COMMAND ${objcopy} --strip-all --add-gnu-debuglink=${stripped}.debug $<TARGET_FILE:${target}> ${stripped})
    add_custom_target(Package${target} ALL DEPENDS ${stripped})
    add_dependencies(Packaged Package${target})
    install(PROGRAMS ${stripped} DESTINATION bin)
    install(FILES ${stripped}.debug DESTINATION symbols)
endfunction()

install(DIRECTORY Interfaces DESTINATION include)
install(FILES Platform/Types.h DESTINATION include/Platform)
if(WIN32)
    set(system windows)
    set(file Kestrine.dll)
    set(CPACK_GENERATOR ZIP)
else()
    set(system linux)
    set(file libKestrine.so)
    set(CPACK_GENERATOR TGZ)
    kestrine_install(Platform libKestrinePlatform.so)
    install(FILES Platform/ErrorInfo.h DESTINATION include/Platform) # on Windows COM has it
endif()
kestrine_install(Kestrine ${file})
kestrine_install(kestrine-log kestrine-log${CMAKE_EXECUTABLE_SUFFIX})
install(FILES README.md CHANGELOG.md DESTINATION .)
install(DIRECTORY Docs Samples DESTINATION .)

set(include include)
set(module bin/${file})
set(config ${PROJECT_BINARY_DIR}/package/cmake)
configure_package_config_file(CMake/KestrineConfig.cmake.in ${config}/KestrineConfig.cmake
    INSTALL_DESTINATION lib/cmake/Kestrine PATH_VARS include module NO_CHECK_REQUIRED_COMPONENTS_MACRO)
write_basic_package_version_file(${config}/KestrineConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(DIRECTORY ${config}/ DESTINATION lib/cmake/Kestrine)

set(CPACK_PACKAGE_FILE_NAME Kestrine-${PROJECT_VERSION}-${system}-x64)
set(CPACK_VERBATIM_VARIABLES ON)
include(CPack)
