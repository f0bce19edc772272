# What a host team gets: the module and kestrine-log with their symbols, the interfaces, samples and documentation, and in
# a folder of its own the reference host.
include(CMakePackageConfigHelpers)

# Everything that a package holds: the package is made of that alone, without building what it does not hold.
add_custom_target(Packaged)
set(CMAKE_SKIP_INSTALL_ALL_DEPENDENCY ON)
set(package ${PROJECT_BINARY_DIR}/package)

# Installs what a target makes, a file of the name given, without its symbols.
function(kestrine_install target file folder)
    set(stripped ${package}/${file})
    # Without the variable it puts the time of the day into a DLL.
    set(objcopy ${CMAKE_COMMAND} -E env SOURCE_DATE_EPOCH=0 ${CMAKE_OBJCOPY})
    add_custom_command(OUTPUT ${stripped} ${stripped}.debug DEPENDS ${target} VERBATIM
        COMMAND ${CMAKE_COMMAND} -E make_directory ${package}
        COMMAND ${objcopy} --only-keep-debug $<TARGET_FILE:${target}> ${stripped}.debug
        COMMAND ${objcopy} --strip-all --add-gnu-debuglink=${stripped}.debug $<TARGET_FILE:${target}> ${stripped})
    add_custom_target(Package${target} ALL DEPENDS ${stripped})
    add_dependencies(Packaged Package${target})
    install(PROGRAMS ${stripped} DESTINATION ${folder})
endfunction()

# The same for a part of the product: its symbols lie where debuggers look for them.
function(kestrine_install_product target file)
    kestrine_install(${target} ${file} bin)
    install(FILES ${package}/${file}.debug DESTINATION bin/.debug)
    if(KESTRINE_HOST AND NOT target STREQUAL kestrine-log)
        install(PROGRAMS ${package}/${file} DESTINATION reference-host)
    endif()
endfunction()

set(exe ${CMAKE_EXECUTABLE_SUFFIX})
if(WIN32)
    set(system windows)
    set(dll .dll)
    set(slash "\\")
    set(here %CD%)
    set(importLibrary ", and the import library of the module, as GNU's linker makes it")
    set(authz ". Its `authz.dll` answers account look-ups from the site file, for every program beside which it lies")
    set(requirements " The package is tested under Wine.")
    set(CPACK_GENERATOR ZIP)
    install(FILES $<TARGET_LINKER_FILE:Kestrine> DESTINATION lib)
else()
    set(system linux)
    set(lib lib)
    set(dll .so)
    set(slash /)
    set(here $PWD)
    set(platformLibrary " and `libKestrinePlatform.so`, which it needs beside it")
    set(platformPlace " and `libKestrinePlatform.so`")
    set(requirements " The package is made on Debian 12: it needs that or a newer system, the reference host also SQLite (`libsqlite3-0`).")
    set(CPACK_GENERATOR TGZ)
    kestrine_install_product(Platform libKestrinePlatform.so)
    install(FILES Platform/ErrorInfo.h DESTINATION include/Platform) # on Windows COM has it
endif()
kestrine_install_product(Kestrine ${lib}Kestrine${dll})
kestrine_install_product(kestrine-log kestrine-log${exe})
install(DIRECTORY Interfaces DESTINATION include)
install(FILES Platform/Types.h DESTINATION include/Platform)
configure_file(CMake/PackageReadme.md.in package/README.md @ONLY)
install(FILES ${package}/README.md CHANGELOG.md DESTINATION .)
install(DIRECTORY Docs Samples DESTINATION .)

# The reference host and the stand-ins that it brings along.
if(KESTRINE_HOST)
    kestrine_install(kestrine-host kestrine-host${exe} reference-host)
    foreach(name Halvex Nodwell)
        kestrine_install(${name} ${lib}${name}${dll} reference-host)
        if(WIN32)
            install(FILES $<TARGET_LINKER_FILE:${name}> DESTINATION reference-host)
        endif()
    endforeach()
    if(TARGET AuthzStandIn) # the accounts of a site
        kestrine_install(AuthzStandIn authz.dll reference-host)
    endif()
    add_dependencies(Packaged Fenwyke)
    install(FILES ${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/Fenwyke.dll DESTINATION reference-host)
    install(FILES Host/Halvex/Registry.h DESTINATION reference-host/include/Host/Halvex)
endif()

set(include include)
set(module bin/${lib}Kestrine${dll})
set(standIns reference-host)
configure_package_config_file(CMake/KestrineConfig.cmake.in ${package}/cmake/KestrineConfig.cmake
    INSTALL_DESTINATION lib/cmake/Kestrine PATH_VARS include module standIns)
configure_file(CMake/KestrineConfigVersion.cmake.in package/cmake/KestrineConfigVersion.cmake @ONLY)
write_basic_package_version_file(${package}/cmake/KestrineVersion.cmake COMPATIBILITY SameMajorVersion)
install(DIRECTORY ${package}/cmake/ DESTINATION lib/cmake/Kestrine)

set(CPACK_PACKAGE_FILE_NAME Kestrine-${PROJECT_VERSION}-${system}-x64)
set(CPACK_VERBATIM_VARIABLES ON)
include(CPack)
