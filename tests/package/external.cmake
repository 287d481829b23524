# cmake -D SOURCE=... -D PREFIX=... -D WORK=... -D GENERATOR=... -D COMPILER=... -P external.cmake
# Builds the library on the installed base layer as on a host's own. Nothing of src/baselib may be looked at then.
file(REMOVE_RECURSE ${WORK})
file(COPY ${SOURCE}/src ${SOURCE}/cmake ${SOURCE}/docs ${SOURCE}/CMakeLists.txt DESTINATION ${WORK}/source)
file(GLOB headers ${WORK}/source/src/baselib/*.h)
foreach(header IN LISTS headers)
    file(WRITE ${header} "#error this header belongs to the base layer that is not used\n")
endforeach()
execute_process(
    COMMAND ${CMAKE_COMMAND} -S ${WORK}/source -B ${WORK}/build -G ${GENERATOR} -D VTCV_EXTERNAL_BASELIB=ON
        -D VTCV_BUILD_TESTS=OFF -D VTCV_BUILD_EXAMPLES=OFF -D CMAKE_PREFIX_PATH=${PREFIX}
        -D CMAKE_CXX_COMPILER=${COMPILER} -D CMAKE_BUILD_TYPE=Debug -D CMAKE_CXX_FLAGS=-g0
    COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND ${CMAKE_COMMAND} --build ${WORK}/build --target VarnholdToolkit.CV --parallel 2
    COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND ${CMAKE_COMMAND} --install ${WORK}/build --prefix ${WORK}/prefix
    OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
file(GLOB_RECURSE base LIST_DIRECTORIES false ${WORK}/prefix/*/baselib/* ${WORK}/prefix/*/libVarnholdToolkit.so*)
if(base)
    message(SEND_ERROR "installed over the host's own base layer: ${base}")
endif()
