# cmake -D BUILD=... -D CONFIG=... -D WORK=... -P install.cmake
# Installs the build into a fresh prefix and moves that prefix away, so that nothing in it may remember its first place.
file(REMOVE_RECURSE ${WORK})
execute_process(COMMAND ${CMAKE_COMMAND} --install ${BUILD} --config "${CONFIG}" --prefix ${WORK}/first
    OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
file(RENAME ${WORK}/first ${WORK}/moved)

file(GLOB_RECURSE installed LIST_DIRECTORIES false RELATIVE ${WORK}/moved ${WORK}/moved/*)
list(LENGTH installed count)
message(STATUS "installed ${count} files")
foreach(file IN LISTS installed)
    if(file MATCHES "_p\\.h$|\\.cpp$|(^|/)tst_")
        message(SEND_ERROR "must not be installed: ${file}")
    elseif(file MATCHES "\\.(cmake|pc|pri)$")
        file(READ ${WORK}/moved/${file} content)
        foreach(path ${WORK} ${BUILD} ${SOURCE})
            string(FIND "${content}" "${path}" found)
            if(NOT found EQUAL -1)
                message(SEND_ERROR "${file} names ${path}")
            endif()
        endforeach()
    endif()
endforeach()
