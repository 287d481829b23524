# What both library targets, the tests and the benchmarks share.

# Warnings, sanitizers and the definitions that keep our sources free of Qt's macros.
add_library(varnhold_build_flags INTERFACE)
target_compile_definitions(varnhold_build_flags INTERFACE QT_NO_KEYWORDS QT_NO_CAST_TO_ASCII)
if(MSVC)
    target_compile_options(varnhold_build_flags INTERFACE /W4 /utf-8)
else()
    target_compile_options(varnhold_build_flags INTERFACE -Wall -Wextra)
endif()
if(VTCV_WARNINGS_AS_ERRORS)
    target_compile_options(varnhold_build_flags INTERFACE $<IF:$<CXX_COMPILER_ID:MSVC>,/WX,-Werror>)
endif()
if(VTCV_SANITIZE)
    target_compile_options(varnhold_build_flags INTERFACE -fsanitize=${VTCV_SANITIZE} -fno-omit-frame-pointer)
    target_link_options(varnhold_build_flags INTERFACE -fsanitize=${VTCV_SANITIZE})
    if(VTCV_SANITIZE MATCHES "thread")
        target_compile_definitions(varnhold_build_flags INTERFACE VARNHOLD_TSAN)
    elseif(VTCV_SANITIZE MATCHES "undefined")
        target_compile_options(varnhold_build_flags INTERFACE -fno-sanitize-recover=undefined)
    endif()
endif()
if(VTCV_COVERAGE)
    target_compile_options(varnhold_build_flags INTERFACE --coverage -fprofile-update=atomic)
    target_link_options(varnhold_build_flags INTERFACE --coverage)
endif()

# A shared library target with the properties that both libraries have.
function(varnhold_library target export_name macro header)
    add_library(${target} SHARED)
    add_library(VarnholdToolkit::${export_name} ALIAS ${target})
    set_target_properties(${target} PROPERTIES
        EXPORT_NAME ${export_name}
        VERSION ${PROJECT_VERSION}
        SOVERSION ${PROJECT_VERSION_MAJOR}
        INSTALL_RPATH $<IF:$<PLATFORM_ID:Darwin>,@loader_path,$ORIGIN> # the two libraries stand side by side
        VERIFY_INTERFACE_HEADER_SETS ON)
    generate_export_header(${target} BASE_NAME ${macro} EXPORT_FILE_NAME ${header})
    target_sources(${target} PUBLIC FILE_SET HEADERS
        BASE_DIRS ${PROJECT_SOURCE_DIR}/src ${PROJECT_BINARY_DIR}/src
        FILES ${header})
    target_include_directories(${target} PUBLIC $<BUILD_INTERFACE:${PROJECT_BINARY_DIR}/forward>)
    target_compile_features(${target} PUBLIC cxx_std_17)
    target_link_libraries(${target} PRIVATE $<BUILD_INTERFACE:varnhold_build_flags>)
    if(UNIX AND NOT APPLE)
        # Standard library templates are exported by their namespace's own attribute; keep them to ourselves.
        set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS ${PROJECT_SOURCE_DIR}/cmake/exports.map)
        target_link_options(${target} PRIVATE
            -Wl,--version-script=${PROJECT_SOURCE_DIR}/cmake/exports.map -Wl,--no-undefined-version)
        if(NOT VTCV_SANITIZE)
            target_link_options(${target} PRIVATE -Wl,--no-undefined)
        endif()
    endif()
endfunction()

# Adds public classes of the current folder: Camera stands in camera.h and camera.cpp, and <Camera> forwards to it.
function(varnhold_classes target)
    cmake_path(GET CMAKE_CURRENT_SOURCE_DIR FILENAME folder)
    foreach(class IN LISTS ARGN)
        string(TOLOWER ${class} name)
        target_sources(${target} PUBLIC FILE_SET HEADERS FILES ${CMAKE_CURRENT_SOURCE_DIR}/${name}.h)
        if(EXISTS ${CMAKE_CURRENT_SOURCE_DIR}/${name}.cpp)
            target_sources(${target} PRIVATE ${CMAKE_CURRENT_SOURCE_DIR}/${name}.cpp)
        endif()
        file(CONFIGURE OUTPUT ${PROJECT_BINARY_DIR}/forward/${class}
            CONTENT "#include \"${folder}/${name}.h\"\n")
        install(FILES ${PROJECT_BINARY_DIR}/forward/${class} DESTINATION ${VARNHOLD_INCLUDE_DIR})
    endforeach()
endfunction()
set(VARNHOLD_INCLUDE_DIR ${CMAKE_INSTALL_INCLUDEDIR}/VarnholdToolkit)
