# Install rules: two CMake packages (the base layer is one of its own, so that a host can replace it), pkg-config, qmake.

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/VarnholdToolkitCV)
set(base_package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/VarnholdToolkit)
set(pkgconfig_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
set(mkspecs_dir ${CMAKE_INSTALL_LIBDIR}/qt5/mkspecs/modules)

# From the folder of a .pc or .pri file to the prefix, so that an installed tree can be moved.
file(RELATIVE_PATH pkgconfig_to_prefix /${pkgconfig_dir} /)
file(RELATIVE_PATH mkspecs_to_prefix /${mkspecs_dir} /)

# The OpenCV modules that a host links beside us, for the package files that cannot ask OpenCV's own CMake package.
get_target_property(opencv_library opencv_core LOCATION)
cmake_path(GET opencv_library PARENT_PATH opencv_libdir)
set(opencv_link_flags "-lopencv_videoio -lopencv_imgcodecs -lopencv_imgproc -lopencv_core")

function(varnhold_package name dir targets)
    install(TARGETS ${targets} EXPORT ${name}Targets
        RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
        FILE_SET HEADERS DESTINATION ${VARNHOLD_INCLUDE_DIR}
        INCLUDES DESTINATION ${VARNHOLD_INCLUDE_DIR})
    install(EXPORT ${name}Targets NAMESPACE VarnholdToolkit:: DESTINATION ${dir})
    configure_package_config_file(cmake/${name}Config.cmake.in ${PROJECT_BINARY_DIR}/${name}Config.cmake
        INSTALL_DESTINATION ${dir})
    write_basic_package_version_file(${PROJECT_BINARY_DIR}/${name}ConfigVersion.cmake COMPATIBILITY SameMajorVersion)
    install(FILES ${PROJECT_BINARY_DIR}/${name}Config.cmake ${PROJECT_BINARY_DIR}/${name}ConfigVersion.cmake
        DESTINATION ${dir})
    configure_file(cmake/${name}.pc.in ${name}.pc @ONLY)
    install(FILES ${PROJECT_BINARY_DIR}/${name}.pc DESTINATION ${pkgconfig_dir})
    configure_file(cmake/qt_${name}.pri.in qt_${name}.pri @ONLY)
    install(FILES ${PROJECT_BINARY_DIR}/qt_${name}.pri DESTINATION ${mkspecs_dir})
endfunction()

if(NOT VTCV_EXTERNAL_BASELIB)
    varnhold_package(VarnholdToolkit ${base_package_dir} VarnholdToolkit)
endif()
varnhold_package(VarnholdToolkitCV ${package_dir} VarnholdToolkit.CV)
