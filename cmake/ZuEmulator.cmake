# Windows tests run under Wine through a script: the test's own ENVIRONMENT does not reach the run that lists the
# tests, and exec makes the Unix process the test itself, so that ctest's time limit ends it.
if(CMAKE_CROSSCOMPILING AND WIN32)
    find_program(ZU_WINE NAMES wine64 PATHS /usr/lib/wine REQUIRED)
    configure_file("${CMAKE_CURRENT_LIST_DIR}/wine.sh.in" "${PROJECT_BINARY_DIR}/wine.sh" @ONLY
        FILE_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE)
    set(CMAKE_CROSSCOMPILING_EMULATOR "${PROJECT_BINARY_DIR}/wine.sh")
endif()
