include(CMakePackageConfigHelpers)

foreach(header ${NUMORA_HEADERS})
    get_filename_component(header_dir ${header} DIRECTORY)
    install(FILES ${PROJECT_SOURCE_DIR}/${header}
            DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/${header_dir})
endforeach()

install(TARGETS numora EXPORT NumoraTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})

set(NUMORA_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/Numora)
install(EXPORT NumoraTargets NAMESPACE Numora:: DESTINATION ${NUMORA_CMAKE_DIR})

configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/NumoraConfig.cmake.in
    ${PROJECT_BINARY_DIR}/NumoraConfig.cmake
    INSTALL_DESTINATION ${NUMORA_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/NumoraConfigVersion.cmake
    VERSION ${PROJECT_VERSION} COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/NumoraConfig.cmake ${PROJECT_BINARY_DIR}/NumoraConfigVersion.cmake
        DESTINATION ${NUMORA_CMAKE_DIR})

if(IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}")
    set(NUMORA_PC_LIBDIR "${CMAKE_INSTALL_LIBDIR}")
else()
    set(NUMORA_PC_LIBDIR "\${prefix}/${CMAKE_INSTALL_LIBDIR}")
endif()
if(IS_ABSOLUTE "${CMAKE_INSTALL_INCLUDEDIR}")
    set(NUMORA_PC_INCLUDEDIR "${CMAKE_INSTALL_INCLUDEDIR}")
else()
    set(NUMORA_PC_INCLUDEDIR "\${prefix}/${CMAKE_INSTALL_INCLUDEDIR}")
endif()
# The prefix is found from the .pc file's own place, so an installed tree
# can be moved (or installed with cmake --install --prefix) and still work.
if(IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}")
    set(NUMORA_PC_PREFIX "${CMAKE_INSTALL_PREFIX}")
else()
    file(RELATIVE_PATH NUMORA_PC_UP "/root/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/root")
    set(NUMORA_PC_PREFIX "\${pcfiledir}/${NUMORA_PC_UP}")
endif()
configure_file(${PROJECT_SOURCE_DIR}/cmake/numora.pc.in ${PROJECT_BINARY_DIR}/numora.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/numora.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
