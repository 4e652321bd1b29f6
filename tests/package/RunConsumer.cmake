# Installs the library into a fresh folder, then configures, builds and runs the consumer against it.
function(run)
    execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
    if(NOT result EQUAL 0)
        list(JOIN ARGN " " command)
        message(FATAL_ERROR "${command}\n${output}")
    endif()
endfunction()

file(REMOVE_RECURSE "${WORK}")
run("${CMAKE_COMMAND}" --install "${BUILD}" --prefix "${WORK}/installed" --component ZuTools)
run("${CMAKE_COMMAND}" -S "${SOURCE}" -B "${WORK}/build" -G "${GENERATOR}" "-DCMAKE_CXX_COMPILER=${COMPILER}"
    "-DCMAKE_PREFIX_PATH=${WORK}/installed" "-DWANTED_VERSION=${VERSION}")
run("${CMAKE_COMMAND}" --build "${WORK}/build")
run("${WORK}/build/consumer" "${WORK}")
