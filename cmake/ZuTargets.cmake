# zu_folder(NAME [PUBLIC header...] SOURCES file... USES target...)
#
# One static library a folder, zu_<NAME>, so that a wrong include does not link. USES names the folders and the
# outside libraries that it stands on, and passes them on. PUBLIC headers are installed; the others are nobody else's.
function(zu_folder NAME)
    cmake_parse_arguments(ARG "" "" "PUBLIC;SOURCES;USES" ${ARGN})
    add_library(zu_${NAME} STATIC ${ARG_SOURCES})
    target_link_libraries(zu_${NAME} PUBLIC zu_flags ${ARG_USES})
    set_target_properties(zu_${NAME} PROPERTIES ZU_PUBLIC_HEADERS "${ARG_PUBLIC}" UNITY_BUILD "${ZU_UNITY}")
endfunction()

# zu_tests(FOLDER SOURCES file... USES target...): the test program of one folder, zu_<FOLDER>_tests.
function(zu_tests FOLDER)
    cmake_parse_arguments(ARG "" "" "SOURCES;USES" ${ARGN})
    add_executable(zu_${FOLDER}_tests ${ARG_SOURCES})
    target_link_libraries(zu_${FOLDER}_tests PRIVATE zu_flags ${ARG_USES} zu_test_support)
    # PRE_TEST: asked for when ctest runs, so that Wine never starts during a build.
    gtest_discover_tests(zu_${FOLDER}_tests DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 120
        PROPERTIES TIMEOUT 120 LABELS "${FOLDER}")
endfunction()
